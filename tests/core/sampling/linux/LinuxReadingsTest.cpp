// The whole of a Linux machine's readings, through the samples that they make.

#include <boost/asio/co_spawn.hpp>
#include <boost/asio/io_context.hpp>
#include <gtest/gtest.h>

#include <cstring>
#include <optional>
#include <sstream>

#include "core/sampling/SystemSampleSource.h"
#include "core/sampling/linux/BatteryReader.h"
#include "core/sampling/linux/LinuxReadings.h"
#include "core/sampling/linux/ProcessorReader.h"
#include "core/sampling/linux/SensorReader.h"
#include "core/values/JSONReader.h"
#include "core/values/NumberText.h"
#include "tests/support/Corpus.h"
#include "tests/support/FixtureTree.h"

namespace orvik {
namespace {

using namespace std::chrono_literals;
using test::FixtureTree;

TEST(LinuxReadings, AMachineThatTellsNothingHasAValidSample) {
  const test::FixtureTree tree({});
  asio::io_context context;
  const auto clock = std::make_shared<SystemClock>();
  const auto source = std::make_shared<SystemSampleSource>(
      context.get_executor(), clock,
      std::make_shared<LinuxReadings>(clock, tree.root().string() + "/", "/no such folder"));
  const std::string always =
      R"({"battery_condition":null,"battery_cycles":null,"battery_design_cycles":null,)"
      R"("battery_est_min":null,"battery_max_capacity_pct":null,"battery_min":null,)"
      R"("battery_pct":null,"battery_state":"paused",)";
  const std::string rest = R"("error":"macmon indisponible",)";
  const auto expect = [&](asio::awaitable<std::string> sample, const std::string& expected) {
    const auto check = [&](const std::exception_ptr& failure, const std::string& text) {
      EXPECT_FALSE(failure);
      JSONObject fields = *JSONValue::any(readJSON(text)).get<JSONObject>();
      EXPECT_TRUE(fields.find("disk_pct")) << "of the start-up volume";
      // What comes from the machine that runs the test.
      for (const char* key : {"load", "load_now", "ts", "epoch", "epoch_ms", "disk_pct",
                              "disk_free_gb", "uptime_h", "connections", "icon_png"}) {
        fields.erase(key);
      }
      EXPECT_EQ(JSONValue(fields).text(), expected);
    };
    asio::co_spawn(context, std::move(sample), check);
    context.restart();
    context.run();
  };
  expect(source->sample(), always + rest + R"("on_ac":true,"procs":[]})");
  expect(source->alertSample(), always + R"("on_ac":true})");
}

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
  std::optional<FixtureTree> tree;
  std::optional<ProcessorReader> processor;
  std::optional<SensorReader> sensors;
  Instant now(1h);
  Clock::Duration later = 4s;
  Clock::Duration untilSensors = 0s;
  bool isAtSensors = false;
  int count = 0;
  for (const std::string& line : test::linesOf("linux/readings.txt")) {
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

std::string battery(int minutes, int percent, const std::string& state, bool onMains) {
  return JSONValue(JSONObject{{"battery_pct", percent < 0 ? JSONValue() : JSONValue(percent)},
                              {"battery_state", state},
                              {"on_ac", onMains},
                              {"battery_min", minutes < 0 ? JSONValue() : JSONValue(minutes)}})
      .text();
}

TEST(BatteryReader, TakesAllPacksAsOneAndNoOtherDevices) {
  const FixtureTree tree{"laptop"};
  BatteryReader reader(tree.root());
  const auto batteryText = [&](Instant now) { return JSONValue(reader.battery(now)).text(); };
  Instant now(1h);
  // 26 of 60 Wh, and 11 W.
  EXPECT_EQ(batteryText(now), battery(142, 43, "discharging", false));
  EXPECT_EQ(JSONValue(reader.batteryExtras(now)).text(),
            R"({"battery_cycles":310,"battery_design_cycles":null,"battery_est_min":142})");
  EXPECT_EQ(JSONValue(reader.batteryHealth(now)).text(),
            R"({"battery_condition":"Normal","battery_max_capacity_pct":94})");

  // One is charged while the other rests; then it is taken out, and seen to have left.
  tree.write("sys/class/power_supply/AC/online", "1\n");
  tree.write("sys/class/power_supply/BAT1/status", "Charging\n");
  EXPECT_EQ(batteryText(now), battery(185, 43, "charging", true));
  tree.remove("sys/class/power_supply/BAT1");
  tree.write("sys/class/power_supply/BAT0/status", "Full\n");
  now += 10s;
  EXPECT_EQ(batteryText(now), battery(-1, 80, "charged", true));
  // A property that was not there is looked for with the batteries.
  tree.write("sys/class/power_supply/BAT0/status", "Charging\n");
  tree.write("sys/class/power_supply/BAT0/time_to_full_now", "1800\n");
  EXPECT_EQ(batteryText(now), battery(-1, 80, "charging", true));
  now += 10s;
  EXPECT_EQ(batteryText(now), battery(30, 80, "charging", true));
  tree.remove("sys/class/power_supply");
  now += 10s;
  EXPECT_EQ(batteryText(now), battery(-1, -1, "paused", true));
}

TEST(BatteryReader, OneBatteryInEveryState) {
  const auto rows = test::linesOf("linux/batteries.txt");
  EXPECT_EQ(rows.size(), 17U);
  for (const std::string& line : rows) {
    const UntypedValue row = readJSON(line);
    const auto cell = [&](std::size_t i) { return pyText((*row.get<UntypedValue::List>())[i]); };
    const FixtureTree tree{};
    const std::string folder = "sys/class/power_supply/BATC/";
    tree.write(folder + "type", "Battery\n");
    tree.write(folder + "capacity", "50\n");
    tree.write(folder + "status", cell(0) + "\n");
    std::istringstream words(cell(2));
    for (std::string name, value; words >> name >> value;) {
      tree.write(folder + name, value + "\n");
    }
    tree.write("sys/class/power_supply/usb/type", "USB\n");
    tree.write("sys/class/power_supply/usb/online", cell(1));
    BatteryReader reader(tree.root());
    JSONObject readings = reader.battery(Instant(1h));
    readings.merge(reader.batteryExtras(Instant(1h)));
    readings.merge(reader.batteryHealth(Instant(1h)));
    for (const auto& [key, value] : *(*row.get<UntypedValue::List>())[3].get<UntypedValue::Map>()) {
      EXPECT_EQ(readings.find(key)->text(), JSONValue::any(value).text()) << key << ": " << line;
    }
  }
}

}  // namespace
}  // namespace orvik
