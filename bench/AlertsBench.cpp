// What the alert task does every 30 seconds, and what a phone that joins costs.

#include <benchmark/benchmark.h>

#include "bench/Payloads.h"
#include "core/alerts/AlertEngine.h"
#include "core/alerts/MinuteHistory.h"

namespace orvik::bench {
namespace {

constexpr std::int64_t start = 1'800'000'000;

/// A sample with the seconds that count, for which every rule has a reading and nothing is wrong.
JSONObject sampleAt(std::int64_t epoch) {
  JSONObject sample = *liveSample().get<JSONObject>();
  sample.set("epoch", epoch);
  sample.set("epoch_ms", epoch * 1000);
  return sample;
}

void evaluate(benchmark::State& state) {
  const JSONObject sample = sampleAt(start);
  AlertEngine engine;
  for (auto _ : state) {
    benchmark::DoNotOptimize(engine.evaluate(sample, {}));
  }
}
BENCHMARK(evaluate)->Unit(benchmark::kNanosecond);

/// Once for the minute that is open, once with a new minute each time, which closes one and, after
/// a day, drops the oldest.
void addToHistory(benchmark::State& state, std::int64_t distance) {
  JSONObject sample = sampleAt(start);
  MinuteHistory history;
  std::int64_t epoch = start;
  for (auto _ : state) {
    epoch += distance;
    sample.set("epoch", epoch);
    history.add(sample);
  }
}
BENCHMARK_CAPTURE(addToHistory, openMinute, 0)->Unit(benchmark::kNanosecond);
BENCHMARK_CAPTURE(addToHistory, newMinute, 60)->Unit(benchmark::kNanosecond);

void jsonOfFullDay(benchmark::State& state) {
  const MinuteHistory history = dayOfMinutes();
  for (auto _ : state) {
    benchmark::DoNotOptimize(history.json(dayEnd));
  }
}
BENCHMARK(jsonOfFullDay)->Unit(benchmark::kMicrosecond);

}  // namespace
}  // namespace orvik::bench
