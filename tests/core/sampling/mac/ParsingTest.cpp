#include <gtest/gtest.h>

#include <regex>
#include <sstream>
#include <thread>

#include "core/sampling/SystemSampleSource.h"
#include "core/sampling/Volume.h"
#include "core/sampling/mac/BluetoothParsing.h"
#include "core/sampling/mac/DisplayParsing.h"
#include "core/sampling/mac/MacInfoParsing.h"
#include "core/sampling/mac/MacmonParsing.h"
#include "core/sampling/mac/ProfilerDocument.h"
#include "core/sampling/mac/RegularExpression.h"
#include "core/sampling/mac/SamplerParsing.h"
#include "core/sampling/mac/USBParsing.h"
#include "core/sampling/mac/VolumeParsing.h"
#include "core/values/NumberText.h"
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

/// The volume that a device with this name is linked to.
JSONValue linkedVolume(std::string_view name) {
  std::vector<USBDevice> devices(1);
  devices[0].name = name;
  linkVolumes(devices, {{"No medium", 1, 1, {}, "", false},
                        {"First", 1, 1, {}, "Maker PORTABLE SSD Media", false},
                        {"Second", 1, 1, {}, "portable ssd", false},
                        {"Clé", 1, 1, {}, "CLE\xCC\x81 USB Media", false}});
  EXPECT_EQ(devices[0].storage, devices[0].volume.has_value());
  return orNull(devices[0].volume);
}

/// What is made of the last of these readings of a power, each behind how often it comes.
JSONValue guarded(std::string_view readings) {
  PowerGuard guard;
  std::istringstream words{std::string(readings)};
  double last = 0;
  for (std::string times, value; words >> times >> value;) {
    for (int i = 0; i < std::stoi(times); ++i) {
      last = guard.clean("all", std::stod(value));
    }
  }
  EXPECT_EQ(guard.clean("cpu", 100), 100) << "kinds have their own histories";
  return last;
}

/// The load of now, of the last of these averages of a minute, each before its time.
JSONValue loadNow(std::string_view averages) {
  LoadNow load;
  std::istringstream words{std::string(averages)};
  double last = 0;
  for (double average = 0, time = 0; words >> average >> time;) {
    last = load.update(average, time);
  }
  return last;
}

/// The group of the pattern on the first line in the lines below it.
JSONValue groupIn(std::string_view text, RegexOptions options = RegexOptions::none) {
  const std::size_t end = text.find('\n');
  return orNull(firstGroup(text.substr(end + 1), text.substr(0, end), options));
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
    {"disk",
     [](auto text) {
       const std::size_t blank = text.find(' ');
       return diskFields(parseDouble(text.substr(0, blank)).value(),
                         parseDouble(text.substr(blank + 1)).value());
     }},
    {"load", loadNow},
    {"linked", linkedVolume},
    {"guarded", guarded},
    {"group", [](auto text) { return groupIn(text); }},
    {"group of lines", [](auto text) { return groupIn(text, RegexOptions::anchorsMatchLines); }},
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

TEST(RegularExpression, TakesAnyTextAndBoundsItsWork) {
  const std::string longText(5000, 'a');
  EXPECT_EQ(firstGroup("é\xFFz\xE2\x82", "é(.*)"), "�z�");
  EXPECT_EQ(firstGroup(longText, "(" + std::string(4094, 'a') + ")"), std::string(4094, 'a'));
  EXPECT_FALSE(firstGroup(longText, "(" + std::string(4095, 'a') + ")"));
  // What would be tried from each digit to the last, and what takes memory for each line.
  EXPECT_FALSE(firstGroup(std::string(100'000, '1') + " 1%", R"((\d+)%)"));
  EXPECT_FALSE(firstGroup("(Name)" + std::string(1'000'000, '\n'), R"((Name)\s*:)"));
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
