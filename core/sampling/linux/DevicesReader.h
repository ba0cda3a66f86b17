#pragma once

#include <string>
#include <vector>

#include "core/async/Clock.h"
#include "core/sampling/linux/BluetoothReader.h"
#include "core/sampling/linux/NetworkReader.h"
#include "core/sampling/linux/VolumeReader.h"
#include "core/values/JSONValue.h"

namespace orvik {

/// What is connected to the machine, but for its volumes. Blocks the thread that asks: usually for
/// some milliseconds, and for at most seven seconds when the services and the name service have
/// just fallen silent.
class DevicesReader {
 public:
  /// What does not lie below the root folder.
  struct Outside {
    NetworkReader::ReverseName reverseName = readReverseName;
    /// The bus that the system's services are on; the system's own when empty.
    std::string busAddress;
    NetworkReader::Limits networkLimits;
  };

  /// Reads below `root`, "/" for this machine.
  DevicesReader(const std::string& root, const Outside& outside);

  /// The members "usb", "network" and "displays", with "bluetooth_on" and "bluetooth" where there
  /// is Bluetooth. USB devices are linked to the volumes that they carry.
  [[nodiscard]] JSONObject read(const std::vector<MountedVolume>& volumes, Instant now);

 private:
  std::string root;
  std::string busAddress;
  NetworkReader network;
  BluetoothReader bluetooth;
};

}  // namespace orvik
