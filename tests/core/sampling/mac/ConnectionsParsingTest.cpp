#include <gtest/gtest.h>

#include <map>

#include "core/sampling/mac/BluetoothParsing.h"
#include "core/sampling/mac/DisplayParsing.h"
#include "core/sampling/mac/ProfilerDocument.h"
#include "core/sampling/mac/USBParsing.h"
#include "core/sampling/mac/VolumeParsing.h"
#include "core/values/JSONReader.h"
#include "core/values/NumberText.h"
#include "tests/support/Corpus.h"

namespace orvik {
namespace {

using namespace ConnectionsParsing;

/// The records' JSON values, or of each the member of this name.
JSONValue listed(const auto& records, std::string_view key = {}) {
  JSONValue::Array list;
  for (const auto& record : records) {
    const JSONValue json = record.json();
    list.push_back(key.empty() ? json : *json.get<JSONObject>()->find(key));
  }
  return list;
}

JSONValue volumesIn(const std::string& text, bool (*isListed)(const UntypedValue&),
                    std::string_view key = {}) {
  return listed(volumes(profilerDocument(text), "USB_TM_1TB", isListed), key);
}

using Reader = JSONValue (*)(const std::string&);
const std::map<std::string, Reader> readers = {
    {"usb", [](auto& text) { return listed(usbDevices(text)); }},
    {"usb names", [](auto& text) { return listed(usbDevices(text), "name"); }},
    {"usb kinds", [](auto& text) { return listed(usbDevices(text), "kind"); }},
    {"usb speeds", [](auto& text) { return listed(usbDevices(text), "speed"); }},
    {"volumes", [](auto& text) { return volumesIn(text, isBrowsable); }},
    {"volume names", [](auto& text) { return volumesIn(text, isBrowsable, "name"); }},
    {"all volumes",
     [](auto& text) {
       return volumesIn(
           text, [](const UntypedValue&) { return true; }, "name");
     }},
    {"backup volumes",
     [](auto& text) {
       auto marked = volumes(profilerDocument(text), "USB_TM_1TB");
       std::erase_if(marked, [](const Volume& volume) { return !volume.isTimeMachine; });
       return listed(marked, "name");
     }},
    {"displays", [](auto& text) { return displays(profilerDocument(text)); }},
    {"bluetooth", [](auto& text) { return JSONValue(bluetooth(profilerDocument(text))); }},
    {"document",
     [](auto& text) { return JSONValue(bluetooth(profilerDocument(pyText(readJSON(text))))); }},
};

TEST(Connections, PayloadsAreAsWrittenBesideTheOutput) {
  std::ifstream cases(ORVIK_FIXTURES "/connections.txt");
  int count = 0;
  for (std::string reader, output, payload; std::getline(cases, reader);) {
    if (reader.empty() || reader.starts_with('#')) {
      continue;
    }
    ASSERT_TRUE(std::getline(cases, output) && std::getline(cases, payload));
    ++count;
    std::string text = output;
    if (output.starts_with('@')) {
#ifdef ORVIK_HAS_CORPUS
      text = test::contentsOf(test::corpus() / "recorded" / output.substr(1));
      ASSERT_FALSE(text.empty()) << output;
#else
      continue;
#endif
    }
    EXPECT_EQ(readers.at(reader)(text).text(), payload) << reader << " " << output;
  }
  EXPECT_GT(count, 50);
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

}  // namespace
}  // namespace orvik
