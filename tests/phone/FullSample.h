#pragma once

namespace orvik::test {

/// A sample with every key that a computer sends, at 2027-01-15 08:00:00 UTC.
inline constexpr const char* fullSample = R"({
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

}  // namespace orvik::test
