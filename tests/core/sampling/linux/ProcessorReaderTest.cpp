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
  Clock::Duration later = 4s;
  Clock::Duration untilSensors = 0s;
  bool isAtSensors = false;
  int count = 0;
  for (std::string line; std::getline(table, line);) {
    if (line.starts_with('#')) {
      continue;
    }
    const std::size_t assignment = line.find(" = ");
    if (line.starts_with('+')) {
      later = std::chrono::milliseconds(std::stoi(line));
    } else if (line.starts_with('~')) {
      untilSensors = std::chrono::milliseconds(std::stoi(line.substr(1)));
    } else if (line.starts_with('-')) {
      tree->remove(line.substr(1));
    } else if (line.starts_with('{')) {
      now += std::exchange(later, 4s);
      isAtSensors = false;
      JSONObject keys = processor->read();
      keys.merge(sensors->read());
      EXPECT_EQ(JSONValue(keys).text(), line);
      untilSensors = 0s;
      ++count;
    } else if (assignment != std::string::npos) {
      tree->write(line.substr(0, assignment), unescaped(line.substr(assignment + 3)));
    } else {
      tree.emplace({line});
      processor.emplace(tree->root(), [&] { return now; });
      sensors.emplace(tree->root(),
                      [&] { return std::exchange(isAtSensors, true) ? now + untilSensors : now; });
    }
  }
  EXPECT_EQ(count, 27);
}

}  // namespace
}  // namespace orvik
