#pragma once

#include <chrono>

#include "core/async/Clock.h"
#include "core/sampling/Cadence.h"
#include "core/system/linux/SystemBus.h"
#include "core/values/JSONValue.h"
#include "core/values/UntypedValue.h"

namespace orvik {

/// The Bluetooth devices that are connected, as the system's Bluetooth service (BlueZ) knows them.
class BluetoothReader {
 public:
  static constexpr std::chrono::milliseconds serviceLimit{2000};

  explicit BluetoothReader(std::chrono::milliseconds limit = serviceLimit) : limit(limit) {}

  /// "bluetooth_on", null without an adapter, and "bluetooth", an array of the connected devices
  /// by name whatever its case. Empty when the service cannot be asked, and while a silent one
  /// is left alone: devices that were there before may have left.
  [[nodiscard]] JSONObject read(SystemBus& bus, Instant now);

 private:
  std::chrono::milliseconds limit;
  /// One that did not answer in time is left alone for a while: it will hardly get better by being
  /// asked, and waiting for it again delays the others.
  Cadence rest{std::chrono::minutes(1)};
};

/// The same from the service's objects: a map from object to interface to property. Whatever is
/// not as documented is skipped.
[[nodiscard]] JSONObject bluetoothMembers(const UntypedValue& objects);

}  // namespace orvik
