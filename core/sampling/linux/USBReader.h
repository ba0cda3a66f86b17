#pragma once

#include <span>
#include <string>
#include <vector>

#include "core/sampling/USBDevice.h"
#include "core/sampling/linux/VolumeReader.h"

namespace orvik {

/// The devices on the machine's USB, below `root`, in the order of the bus: a device comes before
/// those that are connected to it. Hubs are not listed. A device that carries volumes is linked to
/// the first of them.
[[nodiscard]] std::vector<ConnectionsParsing::USBDevice> readUSBDevices(
    const std::string& root, std::span<const MountedVolume> volumes);

}  // namespace orvik
