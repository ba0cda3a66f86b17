#pragma once

#include <boost/asio/awaitable.hpp>

#include <array>
#include <cstdint>
#include <optional>
#include <string>

#include "core/values/JSONValue.h"

namespace orvik {

namespace asio = boost::asio;

/// The value of "error" when the processor tells nothing: the phone's word for it, in the language
/// that phones expect.
inline constexpr const char* noProcessorReadings = "macmon indisponible";

/// Where a machine's readings come from, one group of sample keys at a time. How often each group
/// is read and how they make a sample is for SystemSampleSource to say.
///
/// No reading fails: what cannot be read is absent, or null where a key is always there, and each
/// group comes within a bounded time. The operations are called from one executor and resume on
/// it; they never block it. They may run at the same time. Throws only when cancelled.
class MachineReadings {
 public:
  virtual ~MachineReadings() = default;

  /// Load averages over 1, 5 and 15 minutes. Does not wait.
  [[nodiscard]] virtual std::array<double, 3> loadAverages() = 0;
  /// When the machine was started, whole seconds since 1970; 0 when unknown. Moves with the clock
  /// that was set. Does not wait.
  [[nodiscard]] virtual std::int64_t readBootEpoch() = 0;

  /// The processor keys of the running measurement: use, temperatures, power, memory, frequencies.
  /// When nothing at all can be measured, the single key "error".
  virtual asio::awaitable<JSONObject> processor() = 0;
  /// The same keys (nothing when nothing can be measured) without keeping a measurement running:
  /// for the alerts, which are evaluated whether or not a phone is there.
  virtual asio::awaitable<JSONObject> freshProcessor() = 0;
  /// "battery_pct", "battery_state", "on_ac", "battery_min"; empty when it could not be read this
  /// time.
  virtual asio::awaitable<JSONObject> battery() = 0;
  /// The busiest processes, busiest first: arrays of per cent (double) and name (at most 34
  /// characters).
  virtual asio::awaitable<JSONValue> processes() = 0;
  /// "disk_pct", "disk_free_gb"; empty when unknown.
  virtual asio::awaitable<JSONObject> disk() = 0;
  /// "battery_est_min", "battery_cycles", "battery_design_cycles".
  virtual asio::awaitable<JSONObject> batteryExtras() = 0;
  /// "battery_max_capacity_pct", "battery_condition". May take long.
  virtual asio::awaitable<JSONObject> batteryHealth() = 0;
  /// "tm_last_backup" and, when there is a backup history, "tm_running", "tm_disk_connected" and
  /// "tm_disk_name". Empty on machines that know no such thing.
  virtual asio::awaitable<JSONObject> timeMachine() = 0;
  /// The object under "connections": volumes, USB and Bluetooth devices, displays, network. The
  /// volume with the name of `timeMachineDisk` is marked.
  virtual asio::awaitable<JSONObject> connections(std::optional<std::string> timeMachineDisk) = 0;
  /// The object under "mac_info": what hardly changes. Empty when nothing could be read.
  virtual asio::awaitable<JSONObject> macInfo() = 0;
};

}  // namespace orvik
