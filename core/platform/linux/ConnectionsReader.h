#pragma once

#include <optional>
#include <string>

#include "core/platform/Clock.h"
#include "core/platform/linux/BluetoothReader.h"
#include "core/platform/linux/DisplayReader.h"
#include "core/platform/linux/NetworkReader.h"
#include "core/platform/linux/USBReader.h"
#include "core/platform/linux/VolumeReader.h"
#include "core/values/JSONValue.h"

namespace orvik {

/// What is connected to the machine. Blocks the thread that asks: usually for some milliseconds,
/// and for at most nine seconds when servers, services and the name service are all silent.
class ConnectionsReader {
 public:
  /// What does not lie below the root folder.
  struct Outside {
    VolumeReader::CapacityOf capacityOf = readCapacity;
    NetworkReader::ReverseName reverseName = readReverseName;
    /// The bus that the system's services are on; the system's own when empty.
    std::string busAddress;
    NetworkReader::Limits networkLimits;
  };

  /// Reads below `root`, "/" for this machine.
  ConnectionsReader(const std::string& root, const Outside& outside);

  /// The members "volumes", "usb", "network" and "displays", with "bluetooth_on" and "bluetooth"
  /// where there is Bluetooth. The volume with the name of `timeMachineDisk` is marked.
  [[nodiscard]] JSONObject read(const std::optional<std::string>& timeMachineDisk, Instant now);

 private:
  VolumeReader volumes;
  USBReader usb;
  DisplayReader displays;
  NetworkReader network;
  BluetoothReader bluetooth;
};

}  // namespace orvik
