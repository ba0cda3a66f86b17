#include <gtest/gtest.h>

#include "core/sampling/ConnectionsParsing.h"
#include "core/values/JSONReader.h"
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

TEST(Profiler, DocumentsAreReadEntryByEntry) {
  const auto inDisplays = [](const std::string& display) {
    return R"({"SPDisplaysDataType":[1,{"spdisplays_ndrvs":{}},{"spdisplays_ndrvs":[null,{)" +
           display + R"(}]}]})";
  };
  const auto inBluetooth = [](const std::string& members) {
    return "A line of its log [7] {x}\r\n{\"SPBluetoothDataType\":[2,{" + members +
           "}]}\r\nand another";
  };
  const auto levels = [&](const std::string& reported) {
    return inBluetooth(R"("device_connected":[{"d":{)" + reported + "}},{\"\":{}},{\"e\":1},3]");
  };
  const std::string unknown = R"({"bluetooth":[],"bluetooth_on":null})";
  const struct {
    std::string (*read)(const std::string&);
    std::string text;
    std::string expected;
  } cases[] = {
      {displaysText, inDisplays(R"("_name":"A","_spdisplays_pixels":"5120x2880")"),
       R"([{"builtin":false,"height":2880,"main":false,"name":"A","refresh_hz":null,"width":5120}])"},
      {displaysText,
       inDisplays(R"("_name":"max 1","_spdisplays_resolution":"xx 1600 x  900 @ 59,95 Hz",)"
                  R"("spdisplays_pixelresolution":"spdisplays_4k")"),
       R"([{"builtin":false,"height":900,"main":false,"name":"max 1","refresh_hz":59.95,"width":1600}])"},
      {displaysText, inDisplays(R"("_name":"A","_spdisplays_resolution":"0 x 900 @ 60Hz")"), "[]"},
      {displaysText, inDisplays(R"("_name":"A","_spdisplays_resolution":"1234567 x 9")"), "[]"},
      {displaysText, inDisplays(R"("_name":"spdisplays_display_connector")"), "[]"},
      {displaysText, inDisplays(R"("_spdisplays_resolution":"640 x 480")"), "[]"},
      {displaysText, "{}", "[]"},
      {bluetoothText, inBluetooth(R"("controller_properties":{"controller_state":"attrib_off"})"),
       R"({"bluetooth":[],"bluetooth_on":false})"},
      {bluetoothText, inBluetooth(R"("controller_properties":{"controller_state":"attrib_x"})"),
       unknown},
      {bluetoothText, R"({"SPBluetoothDataType":[]})", unknown},
      {bluetoothText, R"({"SPBluetoothDataType":{}})", "{}"},
      {bluetoothText, "A line [7] {x}", "{}"},
      {bluetoothText, "}\n{", "{}"},
      {bluetoothText,  // as until 12.2
       inBluetooth(R"("local_device_title":{"general_power":"attrib_On"},"device_title":[)"
                   R"({"b":{"device_isconnected":"attrib_Yes","device_batteryPercent":"9%",)"
                   R"("device_minorClassOfDevice_string":"Trackpad"}},)"
                   R"({"x":{"device_isconnected":"attrib_No","device_batteryPercent":"8%"}}],)"
                   R"("devices_list":[{"A":{"device_connected":"Yes"}},{"y":{}}])"),
       R"({"bluetooth":[{"battery":null,"kind":"other","name":"A"},)"
       R"({"battery":9,"kind":"trackpad","name":"b"}],"bluetooth_on":true})"},
      {bluetoothText,
       levels(R"("device_batteryLevelMain":"100\u00a0%","device_batteryLevelLeft":7,)"
              R"("device_batteryLevelRight":"٪٨٥","device_batteryLevelCase":"101%",)"
              R"("device_minorType":" Game Controller")"),
       R"({"bluetooth":[{"battery":100,"battery_left":7,"battery_right":85,"kind":"gamepad",)"
       R"("name":"d"}],"bluetooth_on":null})"},
      {bluetoothText,
       levels(R"("device_batteryLevelMain":"5 5","device_batteryLevelLeft":-1,)"
              R"("device_batteryLevelRight":"","device_batteryLevelCase":"99999999999999999999",)"
              R"("device_minorType":"Toaster")"),
       R"({"bluetooth":[{"battery":null,"kind":"other","name":"d"}],"bluetooth_on":null})"}};
  for (const auto& [read, text, expected] : cases) {
    EXPECT_EQ(read(text), expected) << text;
  }
}

#ifdef ORVIK_HAS_CORPUS
TEST(CorpusConnections, EveryRecordingReadsAsAPersonReadsIt) {
  const struct {
    std::string (*read)(const std::string&);
    const char* file;
    const char* expected;
  } cases[] = {
      {bluetoothText, "sp-bluetooth/2026-10-mx-master-airpods-levels-added.json",
       R"({"bluetooth":[{"battery":null,"battery_case":18,"battery_left":100,"battery_right":96,)"
       R"("kind":"headphones","name":"AirPods Pro di Test"},)"
       R"({"battery":null,"kind":"mouse","name":"MX Master 3S"}],"bluetooth_on":true})"},
      {bluetoothText, "sp-bluetooth/macos26-ipad-level-while-not-connected-shape.json",
       R"({"bluetooth":[{"battery":null,"battery_case":80,"battery_left":90,"battery_right":35,)"
       R"("kind":"headphones","name":"AirPods Pro"},)"
       R"({"battery":73,"kind":"mouse","name":"Magic Mouse"},)"
       R"({"battery":null,"kind":"mouse","name":"Mi DMMS2"}],"bluetooth_on":true})"},
      {bluetoothText, "sp-bluetooth/turkish-locale-airpods-percent-prefix.json",
       R"({"bluetooth":[{"battery":null,"battery_case":100,"battery_left":85,"battery_right":90,)"
       R"("kind":"headphones","name":"Someone’s AirPods Pro"}],"bluetooth_on":true})"},
      {displaysText, "sp-displays/m1-air-color-lcd.json",
       R"([{"builtin":true,"height":1600,"main":true,"name":"Color LCD","refresh_hz":60.0,)"
       R"("width":2560}])"},
      {displaysText, "sp-displays/m3pro-builtin-plus-benq-macos26-trimmed.json",
       R"([{"builtin":true,"height":1125,"main":true,"name":"Color LCD","refresh_hz":120.0,)"
       R"("width":1800},{"builtin":false,"height":2160,"main":false,"name":"BenQ MA320U",)"
       R"("refresh_hz":60.0,"width":3840}])"},
      {displaysText, "sp-displays/intel-dual-gpu-mbp-values-anonymised-by-source.json",
       R"([{"builtin":true,"height":1920,"main":true,"name":"Color LCD","refresh_hz":59.9,)"
       R"("width":3072}])"},
      {volumesText, "sp-storage/applesilicon-256g-nvme-sata-storage.json",
       R"([{"free_bytes":23142211584,"is_time_machine":false,"name":"Macintosh HD",)"
       R"("protocol":"Apple Fabric","size_bytes":245107195904}])"},
      {volumesText, "sp-storage/m5max-1tb-with-usb-timemachine.json",
       R"([{"free_bytes":437436678144,"is_time_machine":false,"name":"Macintosh HD",)"
       R"("protocol":"Apple Fabric","size_bytes":994662584320},{"free_bytes":555120910336,)"
       R"("is_time_machine":true,"name":"USB_TM_1TB","protocol":"USB","size_bytes":999995129856}])"},
      {usbText, "ioreg-usb/sandisk-stick-leading-space-vendor-trimmed.plist",
       "[]"}};  // its devices have no class
  for (const auto& [read, file, expected] : cases) {
    const std::string recorded = test::contentsOf(test::corpus() / "recorded" / file);
    ASSERT_FALSE(recorded.empty()) << file;
    EXPECT_EQ(read(recorded), expected) << file;
  }
  // Reports for people, and documents that were cut off, have nothing to say.
  std::size_t count = 0;
  for (const char* folder : {"sp-bluetooth", "sp-displays", "ioreg-usb"}) {
    for (const auto& file :
         std::filesystem::directory_iterator(test::corpus() / "recorded" / folder)) {
      const std::string recorded = test::contentsOf(file.path());
      if (file.path().extension() == ".txt") {
        EXPECT_EQ(usbText(recorded) + displaysText(recorded) + bluetoothText(recorded), "[][]{}")
            << file.path();
        ++count;
      }
    }
  }
  EXPECT_EQ(count, 10U);
}
#endif

}  // namespace
}  // namespace orvik
