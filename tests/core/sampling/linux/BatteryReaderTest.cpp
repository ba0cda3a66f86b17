#include <gtest/gtest.h>

#include <fstream>
#include <sstream>

#include "core/sampling/linux/BatteryReader.h"
#include "core/values/JSONReader.h"
#include "core/values/NumberText.h"
#include "tests/support/FixtureTree.h"

namespace orvik {
namespace {

using namespace std::chrono_literals;
using test::FixtureTree;

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
  std::ifstream rows(ORVIK_FIXTURES "/linux/batteries.txt");
  int count = 0;
  for (std::string line; std::getline(rows, line);) {
    if (line.starts_with('#')) {
      continue;
    }
    ++count;
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
  EXPECT_EQ(count, 17);
}

}  // namespace
}  // namespace orvik
