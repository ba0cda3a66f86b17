// A whole sample of a Mac, from its tools' output to the text that is sealed, without the tools'
// own time.

#include <benchmark/benchmark.h>
#include <boost/asio/co_spawn.hpp>
#include <boost/asio/io_context.hpp>

#include "core/sampling/SystemSampleSource.h"
#include "core/sampling/mac/MacReadings.h"
#include "tests/support/RecordedMac.h"

namespace orvik {
namespace {

struct Machine {
  /// One sample of a source.
  std::string take(SystemSampleSource& source) {
    std::string text;
    asio::co_spawn(context, source.sample(), [&](const std::exception_ptr&, std::string sample) {
      text = std::move(sample);
    });
    while (text.empty()) {
      context.run_one();
    }
    return text;
  }
  std::shared_ptr<SystemSampleSource> source() {
    return std::make_shared<SystemSampleSource>(context.get_executor(), clock, readings);
  }

  asio::io_context context;
  std::shared_ptr<Clock> clock = std::make_shared<SystemClock>();
  std::shared_ptr<test::RecordedCommands> commands =
      std::make_shared<test::RecordedCommands>("laptop.txt", context.get_executor());
  std::shared_ptr<MacmonReader> macmon = std::make_shared<MacmonReader>(
      std::vector<std::filesystem::path>{"/bin/sh"},
      MacmonReader::Dependencies{
          context.get_executor(), clock, commands,
          [this](const auto& /*executor*/, const auto& /*path*/, const auto& /*arguments*/) {
            return std::make_unique<test::PrintingTool>(commands->outputs["stream"], clock);
          }});
  std::shared_ptr<MacReadings> readings =
      std::make_shared<MacReadings>(commands, macmon, std::make_shared<test::RecordedSystem>());
};

/// What is taken every two seconds; the slower groups come from memory.
void sample(benchmark::State& state) {
  Machine machine;
  const auto source = machine.source();
  machine.take(*source);
  for (auto step : state) {
    benchmark::DoNotOptimize(machine.take(*source));
  }
}
BENCHMARK(sample);

/// All groups at once, as for the first sample.
void wholeSample(benchmark::State& state) {
  Machine machine;
  machine.take(*machine.source());
  for (auto step : state) {
    benchmark::DoNotOptimize(machine.take(*machine.source()));
  }
}
BENCHMARK(wholeSample);

}  // namespace
}  // namespace orvik
