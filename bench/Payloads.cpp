#include "bench/Payloads.h"

#include "core/values/NumberText.h"

namespace orvik::bench {

namespace {

JSONValue connections() {
  JSONValue::Array volumes;
  JSONValue::Array usb;
  for (const char* name : {"Macintosh HD", "Backups of Zoë’s Mac", "Fotos 2024"}) {
    volumes.emplace_back(JSONObject{{"name", name},
                                    {"size_bytes", 994'662'584'320},
                                    {"free_bytes", 412'316'860'416},
                                    {"protocol", "USB"},
                                    {"is_time_machine", false}});
  }
  for (int i = 0; i < 13; ++i) {
    usb.emplace_back(JSONObject{{"name", "USB3.1 Hub with a Long Product Name"},
                                {"vendor", "Example Peripherals, Inc."},
                                {"speed", "5 Gb/s"},
                                {"speed_mbps", 5000},
                                {"kind", "hub"},
                                {"volumes", JSONValue::Array{"Fotos 2024"}}});
  }
  return JSONObject{
      {"volumes", std::move(volumes)},
      {"usb", std::move(usb)},
      {"network",
       JSONObject{{"link", "Wi-Fi"}, {"gateway", "192.0.2.1"}, {"router", "router.example"}}},
      {"displays", JSONValue::Array{JSONObject{{"name", "Color LCD"},
                                               {"width", 3456},
                                               {"height", 2234},
                                               {"refresh_hz", 120.0},
                                               {"main", true},
                                               {"builtin", true}}}},
      {"bluetooth_on", true},
      {"bluetooth",
       JSONValue::Array{JSONObject{{"name", "Kopfhörer"}, {"kind", "headphones"}, {"battery", 80}},
                        JSONObject{{"name", "Keyboard"}, {"kind", "keyboard"}, {"battery", 55}}}}};
}

}  // namespace

JSONValue liveSample() {
  JSONValue::Array processes;
  for (int i = 0; i < 11; ++i) {
    processes.emplace_back(
        JSONValue::Array{pyRound(37.4 - 3.1 * i, 1), "com.example.WebContent.Helper"});
  }
  JSONObject sample{{"cpu_pct", 23.4},
                    {"temp_cpu", 61.2},
                    {"temp_gpu", 54.9},
                    {"gpu_off", false},
                    {"power_w", 12.34},
                    {"cpu_power_w", 7.81},
                    {"gpu_power_w", 0.42},
                    {"sys_power_w", 21.07},
                    {"ram_pct", 71.3},
                    {"ram_used_gb", 22.8},
                    {"ram_total_gb", 32.0},
                    {"swap_gb", 1.25},
                    {"ecpu_mhz", 1132},
                    {"pcpu_mhz", 2745},
                    {"gpu_pct", 4.1},
                    {"load", JSONValue::Array{2.31, 2.87, 3.02}},
                    {"load_now", 2.1},
                    {"uptime_h", 143.7},
                    {"battery_pct", 81},
                    {"battery_state", "discharging"},
                    {"on_ac", false},
                    {"battery_min", 312},
                    {"battery_est_min", nullptr},
                    {"battery_cycles", 213},
                    {"battery_design_cycles", 1000},
                    {"battery_max_capacity_pct", 91},
                    {"battery_condition", "Normal"},
                    {"tm_last_backup", 1'799'990'000},
                    {"tm_running", false},
                    {"tm_disk_connected", true},
                    {"tm_disk_name", "Backups of Zoë’s Mac"},
                    {"disk_pct", 58.5},
                    {"disk_free_gb", 412},
                    {"ts", "14:03:27"},
                    {"epoch", 1'800'000'000},
                    {"epoch_ms", 1'800'000'000'123}};
  sample.set("procs", std::move(processes));
  sample.set("connections", connections());
  return sample;
}

MinuteHistory dayOfMinutes() {
  MinuteHistory history;
  for (std::int64_t minute = 0; minute <= MinuteHistory::span; ++minute) {
    const auto wave = static_cast<double>(minute * 7919 % 1000) / 10;
    history.add({{"epoch", dayEnd + (minute - MinuteHistory::span) * 60},
                 {"cpu_pct", wave},
                 {"temp_cpu", 40 + wave / 3},
                 {"power_w", 5 + wave / 7}});
  }
  return history;
}

JSONValue fullHistory() { return *dayOfMinutes().json(dayEnd); }

}  // namespace orvik::bench
