#include <gtest/gtest.h>

#include <sstream>

#include "core/sampling/linux/BatteryReader.h"
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

/// A battery that is half full, with more properties as "name value name value …".
void addBattery(const FixtureTree& tree, const char* status, const char* properties) {
  const std::string folder = "sys/class/power_supply/BATC/";
  tree.write(folder + "type", "Battery\n");
  tree.write(folder + "capacity", "50\n");
  tree.write(folder + "status", std::string(status) + "\n");
  std::istringstream words(properties);
  for (std::string name, value; words >> name >> value;) {
    tree.write(folder + name, value + "\n");
  }
}

TEST(BatteryReader, OneBatteryInEveryState) {
  const struct {
    const char* status;
    int online;
    const char* properties;
    std::string expected;
    const char* estimate = "null";
  } cases[] = {
      {"Discharging", 0, "energy_now 20000000 power_now 10000000",
       battery(120, 50, "discharging", false), "120"},
      // A charger that is too weak, and a fuel gauge with estimates of its own.
      {"Discharging", 1, "time_to_empty_now 3600 time_to_empty_avg 5400",
       battery(60, 50, "discharging", true), "90"},
      {"Charging", 1, "time_to_full_now 1800", battery(30, 50, "charging", true)},
      {"Charging", 1, "energy_now 30 energy_full 20 power_now 1",
       battery(-1, 50, "charging", true)},
      {"Charging", 1, "capacity 100", battery(-1, 100, "finishing", true)},
      {"Not charging", 1, "", battery(-1, 50, "paused", true)},
      {"Not charging", 1, "capacity 100", battery(-1, 100, "charged", true)},
      {"Unknown", 0, "", battery(-1, 50, "discharging", false)},
      // A current of all bits set, no current, and one with which it would last for years.
      {"Discharging", 0, "energy_now 20000000 power_now 4294967295000",
       battery(-1, 50, "discharging", false)},
      {"Discharging", 0, "energy_now 20000000 power_now 0", battery(-1, 50, "discharging", false)},
      {"Discharging", 0, "energy_now 20000000 power_now 1000",
       battery(-1, 50, "discharging", false)},
      {"\xff garbage", 1, "capacity 9999999999999999999999", battery(-1, -1, "paused", true)},
      {"Discharging", 0, "present 0", battery(-1, -1, "paused", true)},
  };
  for (const auto& [status, online, properties, expected, estimate] : cases) {
    const FixtureTree tree{};
    addBattery(tree, status, properties);
    tree.write("sys/class/power_supply/usb/type", "USB\n");
    tree.write("sys/class/power_supply/usb/online", std::to_string(online));
    BatteryReader reader(tree.root());
    EXPECT_EQ(JSONValue(reader.battery(Instant(1h))).text(), expected) << status;
    EXPECT_EQ(reader.batteryExtras(Instant(1h)).find("battery_est_min")->text(), estimate);
  }
}

TEST(BatteryReader, SaysWhenABatteryIsWorn) {
  const std::string serviced = R"({"battery_condition":"Service Recommended",)";
  const std::pair<const char*, std::string> cases[] = {
      {"energy_full 8000 energy_full_design 10000 health Good",
       R"({"battery_condition":"Normal","battery_max_capacity_pct":80})"},
      {"energy_full 7949 energy_full_design 10000 health Good",
       serviced + R"("battery_max_capacity_pct":79})"},
      {"energy_full 11000 energy_full_design 10000 health Dead",
       serviced + R"("battery_max_capacity_pct":100})"},
      {"energy_full 8000 energy_full_design 0 health Unknown",
       R"({"battery_condition":null,"battery_max_capacity_pct":null})"},
  };
  for (const auto& [properties, expected] : cases) {
    const FixtureTree tree{};
    addBattery(tree, "Full", properties);
    EXPECT_EQ(JSONValue(BatteryReader(tree.root()).batteryHealth(Instant(1h))).text(), expected);
  }
}

}  // namespace
}  // namespace orvik
