#include <gtest/gtest.h>

#include <cstring>
#include <fstream>
#include <optional>

#include "core/sampling/linux/ProcessorReader.h"
#include "core/sampling/linux/SensorReader.h"
#include "tests/support/FixtureTree.h"

namespace orvik {
namespace {

using namespace std::chrono_literals;
using test::FixtureTree;

/// The text with its line ends and bytes, which the table has as C++ does.
std::string unescaped(std::string text) {
  for (const auto& [written, meant] : {std::pair{"\\n", "\n"}, std::pair{"\\xff", "\xff"}}) {
    for (std::size_t at = 0; (at = text.find(written, at)) != std::string::npos;) {
      text.replace(at, std::strlen(written), meant);
    }
  }
  return text;
}

TEST(ProcessorAndSensors, GiveWhatEachMachineHas) {
  std::ifstream table(ORVIK_FIXTURES "/linux/readings.txt");
  std::optional<FixtureTree> tree;
  std::optional<ProcessorReader> processor;
  std::optional<SensorReader> sensors;
  Instant now(1h);
  int count = 0;
  for (std::string line; std::getline(table, line);) {
    if (line.starts_with('#')) {
      continue;
    }
    const std::size_t assignment = line.find(" = ");
    if (line.starts_with('+')) {
      now += std::chrono::seconds(std::stoi(line));
    } else if (line.starts_with('-')) {
      tree->remove(line.substr(1));
    } else if (line.starts_with('{')) {
      JSONObject keys = processor->read();
      keys.merge(sensors->read());
      EXPECT_EQ(JSONValue(keys).text(), line);
      now += 4s;
      ++count;
    } else if (assignment != std::string::npos) {
      tree->write(line.substr(0, assignment), unescaped(line.substr(assignment + 3)));
    } else {
      tree.emplace({line});
      processor.emplace(tree->root(), [&] { return now; });
      sensors.emplace(tree->root(), [&] { return now; });
    }
  }
  EXPECT_EQ(count, 22);
}

TEST(ProcessorAndSensors, KeepReadingsOfCountersApart) {
  const FixtureTree tree{};
  Instant now(1h);
  ProcessorReader processor(tree.root(), [&] { return now; });
  Clock::Duration untilCounter = 0s;
  bool isAtCounter = false;
  SensorReader sensors(tree.root(),
                       [&] { return std::exchange(isAtCounter, true) ? now + untilCounter : now; });
  tree.write("sys/class/powercap/intel-rapl:0/name", "package-0\n");
  const auto expected = [](const char* use, const char* watts) {
    return std::string(R"({"cpu_pct":)") + use + R"(,"cpu_power_w":)" + watts + R"(,"power_w":)" +
           watts + "}";
  };
  const struct {
    Clock::Duration later;
    Clock::Duration untilCounter;
    const char* ticks;
    const char* microjoules;
    std::string expected;
  } timeline[] = {
      {0ms, 0ms, "0 0 0 0", "0", "{}"},
      {399ms, 0ms, "20 0 0 20", "4000000", "{}"},
      {1ms, 0ms, "20 0 0 20", "4000000", expected("50.0", "10.0")},
      {499ms, 0ms, "90 0 0 20", "9000000", expected("50.0", "10.0")},
      // A sensor before it took half a second: the energy is that of a whole one.
      {1ms, 500ms, "60 0 0 80", "10000000", expected("40.0", "6.0")},
  };
  for (const auto& step : timeline) {
    now += step.later;
    untilCounter = step.untilCounter;
    isAtCounter = false;
    tree.write("proc/stat", std::string("cpu  ") + step.ticks + "\n");
    tree.write("sys/class/powercap/intel-rapl:0/energy_uj", step.microjoules);
    JSONObject keys = processor.read();
    keys.merge(sensors.read());
    EXPECT_EQ(JSONValue(keys).text(), step.expected);
  }
}

TEST(CounterRate, BelievesNothingThatItCannotKnow) {
  constexpr double fastest = 1000;
  constexpr std::int64_t range = 10'000;
  const struct {
    Clock::Duration later;
    std::int64_t value;
    std::optional<double> expected;
  } timeline[] = {
      {0s, 9'000, {}},    {1s, 9'500, 500}, {2s, 500, 500},  {0s, 600, {}},
      {1s, 1'600, 1'000}, {1s, 2'601, {}},  {10s, 0, 739.9}, {120s, 600, 5},
      {121s, 700, {}},    {1s, -1, {}},     {1s, 700, 0},
  };
  CounterRate rate(fastest);
  Instant now(1h);
  for (const auto& [later, value, expected] : timeline) {
    now += later;
    EXPECT_EQ(rate.update(now, value, range), expected) << value;
  }
  CounterRate endless(fastest);
  (void)endless.update(now, 100, 0);
  EXPECT_FALSE(endless.update(now + 1s, 50, 0));
}

}  // namespace
}  // namespace orvik
