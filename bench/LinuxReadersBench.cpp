// One reading of this machine by each of the readers that a sample every two seconds asks.

#include <benchmark/benchmark.h>

#include <algorithm>

#include "core/sampling/linux/BatteryReader.h"
#include "core/sampling/linux/ProcessReader.h"
#include "core/sampling/linux/ProcessorReader.h"
#include "core/sampling/linux/SensorReader.h"

namespace orvik::bench {
namespace {

using namespace std::chrono_literals;

template <typename Reader>
void reading(benchmark::State& state) {
  Instant now(1h);
  Reader reader("/", [&now] { return now; });
  for (auto _ : state) {
    // A reading too soon after another would be none.
    now += 2s;
    benchmark::DoNotOptimize(reader.read());
  }
  state.counters["processes"] = static_cast<double>(std::ranges::count_if(
      namesIn("/proc"), [](const std::string& name) { return name[0] >= '1' && name[0] <= '9'; }));
}
BENCHMARK(reading<ProcessorReader>)->Name("processor");
BENCHMARK(reading<SensorReader>)->Name("sensors");
BENCHMARK(reading<ProcessReader>)->Name("processes");

void battery(benchmark::State& state) {
  BatteryReader reader("/");
  Instant now(1h);
  for (auto _ : state) {
    benchmark::DoNotOptimize(reader.battery(now += 2s));
  }
}
BENCHMARK(battery);

}  // namespace
}  // namespace orvik::bench
