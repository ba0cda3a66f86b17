#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <regex>
#include <thread>

#include "core/sampling/mac/BluetoothParsing.h"
#include "core/sampling/mac/DisplayParsing.h"
#include "core/sampling/mac/MacInfoParsing.h"
#include "core/sampling/mac/MacmonParsing.h"
#include "core/sampling/mac/ProfilerDocument.h"
#include "core/sampling/mac/RegularExpression.h"
#include "core/sampling/mac/SamplerParsing.h"
#include "core/sampling/mac/USBParsing.h"
#include "core/sampling/mac/VolumeParsing.h"
#include "tests/support/Table.h"

namespace orvik {
namespace {

using namespace ConnectionsParsing;
using namespace SamplerParsing;
using Array = JSONValue::Array;

JSONValue orNull(const auto& value) { return value ? JSONValue(*value) : JSONValue(); }

/// How many processes there are, the busiest and the last.
JSONValue busiest(std::string_view text) {
  const JSONValue value = processes(text);
  const auto& rows = *value.get<Array>();
  return rows.empty() ? Array{0}
                      : Array{static_cast<std::int64_t>(rows.size()), rows.front(), rows.back()};
}

JSONValue links(std::string_view text) {
  Array names;
  for (const char* interface : {"en0", "en5", "en7", "en11", "bridge0"}) {
    names.push_back(orNull(linkName(text, interface)));
  }
  return names;
}

JSONValue coreCounts(std::string_view text) {
  std::vector<MacInfoParsing::PerformanceLevel> levels;
  for (char i = '0'; i < '3'; ++i) {
    const std::string key = std::string(R"(hw\.perflevel)") + i;
    const auto name = firstGroup(text, key + R"(\.name: (.*))");
    const auto count = firstGroup(text, key + R"(\.(?:physical|logical)cpu: (\d+))");
    levels.push_back({name.value_or(""), std::stoll(count.value_or("0"))});
  }
  const auto cores = MacInfoParsing::cores(levels);
  return Array{cores.performance, cores.efficiency};
}

/// The keys that are not those of a line that says nothing.
JSONValue macmonKeys(std::string_view text) {
  PowerGuard guard;
  // Documented output has remarks, and commas at the ends of lists.
  const std::string line =
      std::regex_replace(std::regex_replace(std::string(text), std::regex("//[^\n]*"), ""),
                         std::regex(",(\\s*[}\\]])"), "$1");
  JSONObject keys = macmon(*readJSON(line).get<UntypedValue::Map>(), guard);
  for (const auto& [key, value] : macmon({}, guard)) {
    if (*keys.find(key) == value) {
      keys.erase(key);
    }
  }
  return keys;
}

/// The records' JSON values, or of each the member of this name.
JSONValue listed(const auto& records, std::string_view key = {}) {
  JSONValue::Array list;
  for (const auto& record : records) {
    const JSONValue json = record.json();
    list.push_back(key.empty() ? json : *json.get<JSONObject>()->find(key));
  }
  return list;
}

JSONValue volumesIn(std::string_view text, bool (*isListed)(const UntypedValue&),
                    std::string_view key = {}) {
  return listed(volumes(profilerDocument(text), "USB_TM_1TB", isListed), key);
}

const test::Parsers parsers{
    {"pmset", pmsetBattery},
    {"registry", batteryExtras},
    {"power", powerProfile},
    {"backup", [](auto text) { return timeMachine(5, text, text); }},
    {"preferences", [](auto text) { return orNull(lastBackup(text)); }},
    {"processes", busiest},
    {"route",
     [](auto text) {
       return Array{orNull(SamplerParsing::gateway(text)),
                    orNull(SamplerParsing::interfaceName(text))};
     }},
    {"links", links},
    {"macmon", macmonKeys},
    {"router", [](auto text) { return orNull(routerName(text)); }},
    {"version",
     [](auto text) {
       const auto parts = MacInfoParsing::versionParts(text);
       return parts ? JSONValue(Array(parts->begin(), parts->end())) : JSONValue();
     }},
    {"cores", coreCounts},
    {"usb", [](auto text) { return listed(usbDevices(text)); }},
    {"usb names", [](auto text) { return listed(usbDevices(text), "name"); }},
    {"usb kinds", [](auto text) { return listed(usbDevices(text), "kind"); }},
    {"usb speeds", [](auto text) { return listed(usbDevices(text), "speed"); }},
    {"volumes", [](auto text) { return volumesIn(text, isBrowsable); }},
    {"volume names", [](auto text) { return volumesIn(text, isBrowsable, "name"); }},
    {"all volumes",
     [](auto text) {
       return volumesIn(
           text, [](const UntypedValue&) { return true; }, "name");
     }},
    {"backup volumes",
     [](auto text) {
       auto marked = volumes(profilerDocument(text), "USB_TM_1TB");
       std::erase_if(marked, [](const Volume& volume) { return !volume.isTimeMachine; });
       return listed(marked, "name");
     }},
    {"displays", [](auto text) { return displays(profilerDocument(text)); }},
    {"bluetooth", [](auto text) { return JSONValue(bluetooth(profilerDocument(text))); }},
    {"frequencies", [](auto text) {
       const auto top = MacInfoParsing::maxMHz(text);
       return Array{orNull(top.performance), orNull(top.efficiency)};
     }}};

TEST(MacParsing, OutputsGiveWhatIsWrittenBesideThem) {
  using namespace std::string_literals;
  test::expectTable("mac/outputs.txt", parsers);
  EXPECT_EQ(processes("1 \xFF\xE2\x82z").text(), "[[1.0,\"��z\"]]");
  EXPECT_EQ(pmsetBattery("\xFF\xFE%; \xFF").find("battery_pct")->text(), "null");
  EXPECT_TRUE(usbDevices("\xFF\xFE").empty());
  EXPECT_EQ(linkName("(1) a\n(Hardware Port: b, Device: e.*)", "e.*"), "a");
  EXPECT_EQ(MacInfoParsing::deviceTreeString(" MacBook é\xFF\n\0rest"s), "MacBook é�");
  EXPECT_EQ(MacInfoParsing::deviceTreeString(" \0x"s), std::nullopt);
  EXPECT_EQ(MacInfoParsing::version(14, 0, 0), "14.0");
}

TEST(USBDevices, AreLinkedToTheFirstVolumeOnTheirMedium) {
  const std::vector<Volume> mounted = {{"No medium", 1, 1, {}, "", false},
                                       {"First", 1, 1, {}, "Maker PORTABLE SSD Media", false},
                                       {"Second", 1, 1, {}, "portable ssd", false},
                                       {"Clé", 1, 1, {}, "CLE\xCC\x81 USB Media", false}};
  const std::pair<const char*, std::optional<std::string>> cases[] = {{" Portable SSD\n", "First"},
                                                                      {"Clé", "Clé"},
                                                                      {"Portable SSD 2", {}},
                                                                      {" \t\xC2\xA0", {}},
                                                                      {"", {}}};
  for (const auto& [name, volume] : cases) {
    std::vector<USBDevice> devices(1);
    devices[0].name = name;
    linkVolumes(devices, mounted);
    EXPECT_EQ(devices[0].volume, volume) << name;
    EXPECT_EQ(devices[0].storage, volume.has_value()) << name;
  }
}

TEST(PowerGuard, ReplacesASpikeByTheLastGoodReading) {
  constexpr double infinity = std::numeric_limits<double>::infinity();
  const struct {
    std::size_t count;
    double before;
    double value;
    double expected;
  } cases[] = {
      {5, 3, 100, 100},         // too few to judge
      {6, 3, 100, 3},           // a spike
      {6, 0.5, 41, 0.5},        // from idle
      {6, 0.5, 39, 39},         // harmless
      {6, 3, 40, 40},           // not above
      {6, 3, 40.01, 3},         // above
      {6, 12, 48, 48},          // four times the median is no spike
      {6, 12, 48.01, 12},       // above that is
      {0, 0, infinity, 0},      // nothing good yet
      {6, 3, -infinity, 3},     //
      {6, 3, std::nan(""), 3},  //
      {300, 3, 100, 3},
  };
  for (const auto& [count, before, value, expected] : cases) {
    PowerGuard guard;
    for (std::size_t reading = 0; reading < count; ++reading) {
      EXPECT_EQ(guard.clean("all", before), before);
    }
    EXPECT_EQ(guard.clean("all", value), expected) << count << " times " << before << ", " << value;
    EXPECT_EQ(guard.clean("cpu", 100), 100) << "kinds have their own histories";
  }
}

TEST(PowerGuard, BelievesALoadThatLasts) {
  PowerGuard guard;
  std::vector<double> reported;
  const auto report = [&](double value, int times) {
    for (int reading = 0; reading < times; ++reading) {
      reported.push_back(guard.clean("sys", value));
    }
  };
  report(3, 30);
  // Suppressed until the upper median of the last 30 is the load itself: from its 15th reading on.
  report(100, 15);
  EXPECT_EQ(std::count(reported.begin(), reported.end(), 3.0), 44);
  EXPECT_EQ(reported.back(), 100.0);
  // What is not a number leaves the history and the last good reading as they are.
  report(std::nan(""), 40);
  EXPECT_EQ(reported.back(), 100.0);
}

TEST(RegularExpression, GivesTheFirstMatchOrNothing) {
  const struct {
    std::string text;
    std::string pattern;
    std::optional<std::string> group;
    RegexOptions options = RegexOptions::none;
  } cases[] = {
      {"a1b2", R"([a-z](\d))", "1"},
      {"a1", "a1", {}},
      {"a1", "(", {}},
      {"b", "(a)?b", ""},
      {"x\nName : y\r\nz", R"(^Name\s*:\s*(.+)$)", "y", RegexOptions::anchorsMatchLines},
      {"x\nName : y", R"(^Name\s*:\s*(.+)$)", {}},
      {"é\xFFz\xE2\x82", "é(.*)", "�z�"},
      {std::string("a\0b", 3), "(?s)(.*)", std::string("a\0b", 3)},
      {std::string(5000, 'a'), "(" + std::string(4094, 'a') + ")", std::string(4094, 'a')},
      {std::string(5000, 'a'), "(" + std::string(4095, 'a') + ")", {}},
      // What would be tried from each digit to the last, and what takes memory for each line.
      {std::string(100'000, '1') + " 1%", R"((\d+)%)", {}},
      {"(Name)" + std::string(1'000'000, '\n'), R"((Name)\s*:)", {}},
  };
  for (const auto& [text, pattern, group, options] : cases) {
    EXPECT_EQ(firstGroup(text, pattern, options), group) << pattern.substr(0, 40);
  }
  std::string all = "é";
  for (char c = 1; c < 127; ++c) {
    all += c;
  }
  EXPECT_EQ(firstMatch("-" + all + "-", escapedForPattern(all))->front(), all);
}

TEST(RegularExpression, KeepsPatternsForAllThreads) {
  std::vector<std::thread> threads(4);
  for (std::thread& thread : threads) {
    thread = std::thread([] {
      for (int i = 0; i < 200; ++i) {
        EXPECT_EQ(firstGroup("abc", "(b){0," + std::to_string(i % 70 + 1) + "}c"), "b");
      }
    });
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
}

}  // namespace
}  // namespace orvik
