#pragma once

#include <chrono>
#include <string>

#include "core/values/JSONValue.h"
#include "core/values/UntypedValue.h"

namespace orvik {

/// The Bluetooth devices that are connected, as the system's Bluetooth service (BlueZ) knows them.
class BluetoothReader {
 public:
  static constexpr std::chrono::milliseconds serviceLimit{2000};

  /// Asks on the bus at this address; the system's own when empty.
  explicit BluetoothReader(std::string busAddress = {},
                           std::chrono::milliseconds limit = serviceLimit)
      : busAddress(std::move(busAddress)), limit(limit) {}

  /// "bluetooth_on", null without an adapter, and "bluetooth", an array of the connected devices
  /// by name whatever its case. Empty when the service cannot be asked.
  [[nodiscard]] JSONObject read() const;

 private:
  std::string busAddress;
  std::chrono::milliseconds limit;
};

/// The same from the service's objects: a map from object to interface to property. Whatever is
/// not as documented is skipped.
[[nodiscard]] JSONObject bluetoothMembers(const UntypedValue& objects);

}  // namespace orvik
