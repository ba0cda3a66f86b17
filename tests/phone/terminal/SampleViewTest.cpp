#include <gmock/gmock.h>

#include "core/values/JSONReader.h"
#include "phone/terminal/DisplayText.h"
#include "phone/terminal/SampleView.h"

namespace orvik {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

/// A sample with every key that a computer sends, at 2027-01-15 08:00:00 UTC.
constexpr const char* fullSample = R"({
  "cpu_pct": 41.26, "temp_cpu": 52.3, "temp_gpu": 45.1, "gpu_off": false, "gpu_pct": 10.0,
  "power_w": 12.34, "cpu_power_w": 5.1, "gpu_power_w": 0.0, "sys_power_w": 14.2,
  "ram_pct": 62.5, "ram_used_gb": 10.0, "ram_total_gb": 16.0, "swap_gb": 0.25,
  "ecpu_mhz": 1820, "pcpu_mhz": 3204.4, "load": [2.14, 1.98, 1.7], "load_now": 2.4,
  "uptime_h": 76.5, "battery_pct": 87, "battery_state": "charging", "on_ac": true,
  "battery_min": 65, "battery_est_min": null, "battery_cycles": 312, "battery_design_cycles": 1000,
  "battery_max_capacity_pct": 92, "battery_condition": "Normal",
  "tm_last_backup": 1799985600, "tm_running": true, "tm_disk_connected": true,
  "tm_disk_name": "Backup Disk", "disk_pct": 80.0, "disk_free_gb": 100,
  "procs": [[141.2, "Xcode"], [12.0, "Window Server"], [0.0, "launchd"]],
  "connections": {
    "network": {"link": "Wi-Fi", "gateway": "192.168.1.1", "router": "router.example"},
    "displays": [{"name": "Color LCD", "width": 2560, "height": 1664, "refresh_hz": 59.95,
                  "main": true, "builtin": true}],
    "bluetooth": [{"name": "Keyboard", "kind": "keyboard", "battery": 76},
                  {"name": "Buds", "battery": null, "battery_left": 80, "battery_case": 5}],
    "usb": [
      {"name": "Portable SSD", "maker": "Maker", "speed": "10 Gb/s", "kind": "storage",
       "storage": true, "volume": "Backup Disk"},
      {"name": "Mouse", "maker": null, "speed": "1,5 Mb/s", "kind": "keyboard", "storage": false,
       "volume": null},
      {"name": "?", "maker": null, "speed": null, "kind": "other", "storage": false,
       "volume": null}],
    "volumes": [
      {"name": "Macintosh HD", "size_bytes": 500000000000, "free_bytes": 100000000000,
       "protocol": "Apple Fabric", "is_time_machine": false},
      {"name": "Backup Disk", "size_bytes": 2000000000000, "free_bytes": 850000000,
       "protocol": null, "is_time_machine": true}]},
  "mac_info": {"product_name": "MacBook Air", "model_id": "Mac14,2", "chip": "Apple M2",
    "p_cores": 4, "e_cores": 4, "p_max_mhz": 3504, "e_max_mhz": 2424, "ram_gb": 16,
    "macos": "14.2.1", "icon_png": "iVBORw0KGgo="},
  "history": {"t0": 1799992800, "dm": [0, 1, 1, 57, 60],
    "cpu": [0.0, 50.0, 100.0, 25.0, null], "temp": [40.0, 41.0, 60.0, null, 50.0],
    "w": [3.25, null, 14.0, 7.0, 7.0]},
  "ts": "08:00:00", "epoch": 1800000000, "epoch_ms": 1800000000123
})";

MacState liveState(const UntypedValue& sample) {
  MacState state;
  state.name = "Zoë's Mac";
  state.connection.phase = ConnectionState::Phase::live;
  state.take(sample);
  return state;
}

std::vector<std::string> textOf(const std::vector<ViewLine>& lines) {
  std::vector<std::string> text;
  for (const ViewLine& line : lines) {
    text.push_back(line.heading + line.body);
  }
  return text;
}

/// The lines below the title.
std::vector<std::string> readings(const char* sample, int width = 80) {
  std::vector<std::string> text = textOf(sampleView(liveState(readJSON(sample)), width));
  text.erase(text.begin());
  return text;
}

TEST(SampleView, ShowsEveryReadingWithItsUnit) {
  MacState state = liveState(readJSON(fullSample));
  for (const char* alert : {R"({"kind":"on_battery","state":"raised","epoch_ms":1799956800999})",
                            R"({"kind":"on_battery","state":"cleared","epoch_ms":1799956801000})",
                            R"({"kind":"disk_full","state":"raised"})"}) {
    EXPECT_TRUE(state.alerts.take({Envelope::Kind::alert, alert, readJSON(alert)}));
  }
  setenv("TZ", "UTC", 1);
  tzset();
  const auto page = sampleView(state, 80);
  EXPECT_TRUE(page[1].attention);
  EXPECT_FALSE(page[3].attention) << "mains power is back";
  EXPECT_THAT(
      textOf(page),
      ElementsAre(
          "Zoë's Mac · live · 08:00:00", "Alerts     --:--  The disk is nearly full",
          "           20:00  Back on mains power",
          "           2027-01-14 20:00  Running on battery",
          "Machine    MacBook Air · Mac14,2 · Apple M2 · 4 P cores at 3.50 GHz",
          "           4 E cores at 2.42 GHz · 16 GiB · macOS 14.2.1",
          "CPU        ████████░░░░░░░░░░░░ 41.3 % · 52.3 °C · P 3204 MHz · E 1820 MHz",
          "GPU        ██░░░░░░░░░░░░░░░░░░ 10.0 % · 45.1 °C", "Load       2.14 1.98 1.70 · now 2.4",
          "Memory     █████████████░░░░░░░ 62.5 % · 10.0 of 16.0 GiB · swap 0.25 GiB",
          "Power      12.34 W · CPU 5.10 W · GPU 0.00 W · system 14.20 W",
          "Battery    █████████████████░░░ 87 % · charging · 1 h 05 min to full · on mains",
          "           condition Normal · capacity 92 % · 312 of 1000 cycles",
          "Disk       ████████████████░░░░ 80.0 % · 100 GB free",
          "Backup     4 h 00 min ago · running now · Backup Disk connected", "Uptime     3 d 4 h",
          "Top        Xcode 141.2 % · Window Server 12.0 % · launchd 0.0 %",
          "History    CPU   ▅                     ▃                      ▄ 0.0–100.0 %",
          "           Temp  ▃                                            ▅ 40.0–60.0 °C",
          "           Power ▅                     ▅                      ▆ 3.25–14.00 W",
          "           over 2 h 01 min", "Network    Wi-Fi · gateway 192.168.1.1 (router.example)",
          "Displays   Color LCD (2560 x 1664, 60 Hz)",
          "Bluetooth  Keyboard (76 %) · Buds (left 80 %, case 5 %)",
          "USB        Portable SSD (Maker, 10 Gb/s, volume Backup Disk)",
          "           Mouse (1,5 Mb/s, keyboard) · ?",
          "Volumes    Macintosh HD (100.0 GB free of 500.0 GB, Apple Fabric)",
          "           Backup Disk (850 MB free of 2.00 TB, backups)"));
  EXPECT_EQ(sampleSummary(state),
            "08:00:00  live  CPU 41.3 %  52.3 °C  12.34 W  load 2.14 1.98 1.70  memory 62.5 %  "
            "battery 87 %  disk 80.0 %  up 3 d 4 h");
}

TEST(SampleView, LeavesOutWhatIsNotKnown) {
  EXPECT_THAT(readings("{}"), IsEmpty());
  EXPECT_THAT(readings(R"({"load":[0.5,0.25,0.0],"ts":"08:00:00","uptime_h":0.5,"epoch":1})"),
              ElementsAre("Load       0.50 0.25 0.00", "Uptime     30 min"));
  struct Case {
    const char* sample;
    std::vector<std::string> lines;
  };
  const std::vector<Case> cases = {
      {R"({"cpu_pct":null,"temp_cpu":"52","load":[1.0,null],"ts":8})", {}},
      {R"({"cpu_pct":0.0,"temp_cpu":0.0,"pcpu_mhz":0})", {"CPU        ░░░░░░░░░░░░░░░░░░░░ 0.0 %"}},
      {R"({"gpu_off":true,"temp_gpu":0.0})", {"GPU        off"}},
      {R"({"uptime_h":0})", {}},
      {R"({"uptime_h":0.0})", {"Uptime     0 min"}},
      {R"({"ram_pct":0.0,"ram_used_gb":0.0,"ram_total_gb":0.0,"swap_gb":0.0})", {}},
      {R"({"power_w":0.0,"cpu_power_w":0.0,"gpu_power_w":0.0,"sys_power_w":0.0})", {}},
      {R"({"battery_pct":null,"battery_state":"paused","on_ac":true,"battery_min":null})",
       {"Battery    on mains"}},
      {R"({"battery_pct":9,"battery_state":"discharging","on_ac":false,"battery_min":null,
           "battery_est_min":59})",
       {"Battery    ██░░░░░░░░░░░░░░░░░░ 9 % · discharging · about 59 min left",
        "           on battery"}},
      {R"({"battery_pct":100,"battery_state":"charged","on_ac":true,"battery_min":0,
           "battery_est_min":200})",
       {"Battery    ████████████████████ 100 % · charged · on mains"}},
      {R"({"tm_last_backup":null})", {}},
      {R"({"tm_last_backup":100,"epoch":99,"tm_disk_connected":false,"tm_disk_name":null})",
       {"Backup     disk not connected"}},
      {R"({"procs":[["1","a"],[2.5,3],[2.5],[2.5,"b"],"c",[4,"d",5]]})", {"Top        b 2.5 %"}},
      {R"({"connections":{"network":null,"usb":{},"volumes":[{"name":"V","free_bytes":-1}]}})",
       {"Volumes    V"}},
      {R"({"error":"macmon indisponible"})", {"Sensors    not available: macmon indisponible"}},
      {R"({"history":{"t0":60,"dm":[0],"cpu":[1.0]}})", {}},
  };
  for (const auto& [sample, lines] : cases) {
    EXPECT_EQ(readings(sample), lines) << sample;
  }
}

TEST(SampleView, KeepsTheMachineWhileItIsNotSentAgain) {
  MacState state = liveState(readJSON(R"({"mac_info":{"chip":"M2"},"error":"e"})"));
  state.take(readJSON("{}"));
  state.name.clear();
  state.connection = {ConnectionState::Phase::waiting, std::chrono::seconds(4), "no route"};
  state.unreadable = 2;
  const std::vector<ViewLine> lines = sampleView(state, 80);
  EXPECT_THAT(lines, ElementsAre(ViewLine{"Computer",
                                          " · offline, next attempt after 4 s (no route)"
                                          " · 2 unreadable",
                                          true},
                                 ViewLine{"Machine    ", "M2"}));
}

TEST(SampleView, PutsLabelsAboveTheirGroupsOnNarrowWindows) {
  EXPECT_THAT(
      readings(
          R"({"load":[1.0,2.0,3.0],"load_now":4.0,"connections":{"usb":[{"name":"日本語日本語"},
                   {"name":"café au lait et croissant"}]}})",
          20),
      ElementsAre("Load", "  1.00 2.00 3.00", "  now 4.0", "USB", "  日本語日本語",
                  "  café au lait et c…"));
}

/// Calls `visit` once for every value below `value` and every replacement for it.
template <typename Visit>
void replaceEach(UntypedValue& value, const UntypedValue::List& replacements, const Visit& visit) {
  const UntypedValue original = value;
  for (const UntypedValue& replacement : replacements) {
    value = replacement;
    visit();
  }
  value = original;
  if (auto* map = std::get_if<UntypedValue::Map>(&value.value)) {
    for (auto& [key, member] : *map) {
      replaceEach(member, replacements, visit);
    }
  } else if (auto* list = std::get_if<UntypedValue::List>(&value.value)) {
    for (UntypedValue& element : *list) {
      replaceEach(element, replacements, visit);
    }
  }
}

std::string withoutBlanks(std::string text) {
  std::erase(text, ' ');
  return text;
}

TEST(SampleView, SurvivesAnyValueAnywhere) {
  const UntypedValue::List hostile = {
      {},
      true,
      std::int64_t{0},
      INT64_MIN,
      INT64_MAX,
      -0.5,
      1e300,
      "\x1B[2J\x1B]0;t\a\xFF\r\n\u202E日本語\u0301" + std::string(500, 'x'),
      UntypedValue::List(200, UntypedValue(std::int64_t{1})),
      UntypedValue::Map{}};
  UntypedValue sample = readJSON(fullSample);
  std::vector<std::string> wrong;
  int width = 0;
  replaceEach(sample, hostile, [&] {
    width = width % 90 + 1;
    const MacState state = liveState(sample);
    std::vector<std::string> shown = textOf(sampleView(state, width));
    std::erase_if(shown, [&](const std::string& line) {
      return columnsOf(line) <= width && withoutBlanks(displayText(line)) == withoutBlanks(line);
    });
    wrong.insert(wrong.end(), shown.begin(), shown.end());
  });
  EXPECT_THAT(wrong, IsEmpty());
}

}  // namespace
}  // namespace orvik
