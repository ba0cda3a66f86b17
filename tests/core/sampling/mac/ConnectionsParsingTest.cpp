#include <gtest/gtest.h>

#include <map>

#include "core/sampling/mac/BluetoothParsing.h"
#include "core/sampling/mac/DisplayParsing.h"
#include "core/sampling/mac/ProfilerDocument.h"
#include "core/sampling/mac/USBParsing.h"
#include "core/sampling/mac/VolumeParsing.h"
#include "tests/support/Corpus.h"

namespace orvik {
namespace {

using namespace ConnectionsParsing;

template <typename Record>
std::string jsonText(const std::vector<Record>& records) {
  JSONValue::Array list;
  for (const Record& record : records) {
    list.push_back(record.json());
  }
  return JSONValue(list).text();
}

// From what a tool printed to the payload's text.
std::string usbText(const std::string& text) { return jsonText(usbDevices(text)); }
std::string volumesText(const std::string& text) {
  return jsonText(volumes(profilerDocument(text), "USB_TM_1TB"));
}
std::string displaysText(const std::string& text) {
  return displays(profilerDocument(text)).text();
}
std::string bluetoothText(const std::string& text) {
  return JSONValue(bluetooth(profilerDocument(text))).text();
}

/// The names of a list, joined.
std::string namesOf(const auto& records) {
  std::string names;
  for (const auto& record : records) {
    names += (names.empty() ? "" : "|") + record.name;
  }
  return names;
}

std::string integer(const std::string& key, std::int64_t value) {
  return "<key>" + key + "</key><integer>" + std::to_string(value) + "</integer>";
}
std::string text(const std::string& key, const std::string& value) {
  return "<key>" + key + "</key><string>" + value + "</string>";
}
std::string entry(const std::string& type, const std::string& properties,
                  const std::string& below = "") {
  return "<dict>" + text("IOObjectClass", type) + properties +
         "<key>IORegistryEntryChildren</key><array>" + below + "</array></dict>";
}
/// A device with its location as its name.
std::string device(std::int64_t location, const std::string& properties = "",
                   const std::string& below = "") {
  return entry(
      "IOUSBHostDevice",
      integer("locationID", location) + integer("IORegistryEntryName", location) + properties,
      below);
}
std::string interfaceOf(std::int64_t code, const std::string& below = "") {
  return entry("IOUSBHostInterface", integer("bInterfaceClass", code), below);
}
std::vector<USBDevice> devicesIn(const std::string& entries) {
  return usbDevices("\n \xC2\xA0<plist version=\"1.0\">" + entries + "</plist>\n");
}

TEST(USBDevices, EachLocationOnceAndWhatIsBelowWhateverIsAbove) {
  const std::string none = entry("IOUSBHostDevice", text("IORegistryEntryName", "none"));
  const std::string hub = integer("bDeviceClass", 9);
  const struct {
    std::string entries;
    const char* names;
  } cases[] = {
      {"<array>" + device(1, hub, device(2, "", device(3)) + device(4)) + "</array>", "2|3|4"},
      {device(1, "", entry("AppleUSB20Hub", "", device(2))), "1|2"},
      {"<array>" + device(5) + device(5, "", device(6)) + device(6) + "</array>", "5|6"},
      {"<array>" + none + none + device(1) + none + "</array>", "none|1"},
      // A location of another type is none; a hub takes no location.
      {"<array>" + entry("IOUSBHostDevice", text("locationID", "1") + text("x", "y")) + none +
           device(1, hub) + device(1) + "</array>",
       "?|1"},
      {"<array><string>IOUSBHostDevice</string>" + entry("IOUSBDevice", integer("locationID", 1)) +
           "<dict><key>IORegistryEntryChildren</key>" + device(7) + "</dict>" + device(8) +
           "</array>",
       "8"}};
  for (const auto& [entries, names] : cases) {
    EXPECT_EQ(namesOf(devicesIn(entries)), names) << entries;
  }
  for (const char* broken :
       {"", " \n\t\xC2\xA0", "plain", "<plist><array>", "bplist00", "\xFF\xFE"}) {
    EXPECT_EQ(usbText(broken), "[]") << broken;
  }
}

TEST(USBDevices, DescribesWhatItKnows) {
  const auto described = [](const std::string& properties, const std::string& below = "") {
    return jsonText(devicesIn(entry("IOUSBHostDevice", properties, below)));
  };
  EXPECT_EQ(
      described(text("IORegistryEntryName", " Pen\t") + text("kUSBProductString", "other") +
                text("USB Vendor Name", "\xE2\x80\x83 Maker \n") + integer("Device Speed", 0)),
      R"([{"kind":"other","maker":"Maker","name":" Pen\t","speed":"1,5 Mb/s",)"
      R"("storage":false,"volume":null}])");
  EXPECT_EQ(described(text("IORegistryEntryName", "") + integer("kUSBProductString", 42) +
                      text("USB Vendor Name", " ") + integer("Device Speed", 6)),
            R"([{"kind":"other","maker":null,"name":"42","speed":null,)"
            R"("storage":false,"volume":null}])");
  for (const auto& [code, label] :
       {std::pair{5, "20 Gb/s"}, std::pair{3, "5 Gb/s"}, std::pair{-1, "null"}}) {
    EXPECT_NE(described(integer("Device Speed", code)).find(label), std::string::npos) << code;
  }
  const auto classed = [](std::int64_t code) { return integer("bDeviceClass", code); };
  const struct {
    std::string properties;
    std::string below;
    const char* kind;
  } kinds[] = {
      {classed(0), interfaceOf(8), "storage"},
      {classed(0), interfaceOf(255) + interfaceOf(3) + interfaceOf(1), "keyboard"},
      {classed(239), interfaceOf(255) + interfaceOf(0), "other"},
      {classed(14), interfaceOf(1), "camera"},
      {classed(17), "", "adapter"},
      {"", interfaceOf(10, interfaceOf(7)) + interfaceOf(3), "printer"},
      {"", entry("IOService", integer("bInterfaceClass", 3), interfaceOf(6)), "camera"},
      {text("bDeviceClass", "3"), device(9, "", interfaceOf(3)) + interfaceOf(1), "audio"}};
  for (const auto& [properties, below, kind] : kinds) {
    const auto devices = devicesIn(entry("IOUSBHostDevice", properties, below));
    ASSERT_FALSE(devices.empty());
    EXPECT_EQ(devices.front().kind, kind) << properties << below;
  }
}

TEST(USBDevices, AreLinkedToTheFirstVolumeOnTheirMedium) {
  const std::vector<Volume> mounted = {{"No medium", 1, 1, {}, "", false},
                                       {"First", 1, 1, {}, "Maker PORTABLE SSD Media", false},
                                       {"Second", 1, 1, {}, "portable ssd", false},
                                       {"Clé", 1, 1, {}, "CLE\xCC\x81 USB Media", false}};
  const struct {
    const char* name;
    std::optional<std::string> volume;
  } cases[] = {{" Portable SSD\n", "First"},
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

/// A storage entry, apart from size and free space.
UntypedValue volumeEntry(const char* name, const char* mountPoint, const char* device = "",
                         const char* fileSystem = "APFS") {
  return UntypedValue::Map{{"_name", name},
                           {"mount_point", mountPoint},
                           {"bsd_name", device},
                           {"file_system", fileSystem},
                           {"size_in_bytes", std::int64_t{10}},
                           {"free_space_in_bytes", std::int64_t{0}}};
}

TEST(Volumes, ArePeoplesOwnOncePerContainer) {
  UntypedValue::List entries = {
      "text", UntypedValue::Map{},  // neither is an entry
      volumeEntry("VM", "/System/Volumes/VM", "disk3s6"),
      volumeEntry("zeta", "/Volumes/zeta", "disk5s1", "ExFAT"),
      volumeEntry("Alpha", "/Volumes/Alpha", "disk5s2", "ExFAT"),
      volumeEntry("beta", "/Volumes/beta"), volumeEntry("Twin", "/Volumes/beta 1"),
      // The start-up container: two halves and a neighbour.
      volumeEntry("Extra", "/Volumes/Extra", "disk3s9"),
      volumeEntry("Mac - Data", "/System/Volumes/Data", "disk3s5"),
      volumeEntry("Mac", "/", "disk3s1s1"),
      // Another system's container, and one with backups.
      volumeEntry("Data", "/Volumes/Data", "disk7s5"),
      volumeEntry("Old", "/Volumes/Old", "disk7s1"), volumeEntry("A", "/Volumes/A", "disk12s1"),
      volumeEntry("Backup", "/Volumes/Backup", "disk12s2"),
      volumeEntry("VM", "/Volumes/VM", "disk1s1"),
      volumeEntry("Recovery", "/Volumes/Recovery", "disk9s3"),
      volumeEntry("Snapshot", "/Volumes/.timemachine/A/Snapshot"),
      volumeEntry("Local", "/Volumes/com.apple.TimeMachine.localsnapshots/Local"),
      volumeEntry("Unmounted", ""), volumeEntry("Private", "/private/tmp/image"),
      volumeEntry(" ", "/Volumes/ ")};
  const auto listed = volumes(entries, "Backup");
  EXPECT_EQ(namesOf(listed), "Mac|Alpha|Backup|beta|Old|Twin|VM|zeta");
  for (const Volume& volume : listed) {
    EXPECT_EQ(volume.isTimeMachine, volume.name == "Backup") << volume.name;
  }
  EXPECT_EQ(namesOf(volumes(entries, "backup",
                            [](const UntypedValue& entry) {
                              return entry.find("_name") != nullptr && isBrowsable(entry) == false;
                            })),
            "Local|Mac - Data|Private|Recovery|Snapshot|Unmounted");
  for (const char* required : {"_name", "size_in_bytes", "free_space_in_bytes"}) {
    UntypedValue damaged = volumeEntry("Damaged", "/");
    std::get<UntypedValue::Map>(damaged.value)[required] = UntypedValue::Opaque{};
    EXPECT_EQ(namesOf(volumes(UntypedValue::List{damaged, volumeEntry("B", "/Volumes/B")})), "B");
  }
}

using Reader = std::string (*)(const std::string&);

TEST(Connections, PayloadsAreAsWrittenBesideTheOutput) {
  const std::map<std::string, Reader> readers = {{"usb", usbText},
                                                 {"volumes", volumesText},
                                                 {"displays", displaysText},
                                                 {"bluetooth", bluetoothText}};
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
    EXPECT_EQ(readers.at(reader)(text), payload) << output;
  }
  EXPECT_EQ(count, 20);
}

TEST(Connections, OnlyDocumentsAreRead) {
  const std::string document = "{\"SPBluetoothDataType\":[\r\n  {\r\n}\r\n]}";
  for (const std::string& text :
       {document, "2026 tool[7:8] {x}\r\n" + document, document + "\nlog", "\n" + document}) {
    EXPECT_EQ(bluetoothText(text), R"({"bluetooth":[],"bluetooth_on":null})") << text;
  }
  for (const char* text : {"", "A line [7] {x}", "}\n{", "{", "{}\n{}", "\n{\"a\":}"}) {
    EXPECT_EQ(profilerDocument(text), UntypedValue()) << text;
  }
}

}  // namespace
}  // namespace orvik
