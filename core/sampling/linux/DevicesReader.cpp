#include "core/sampling/linux/DevicesReader.h"

#include <utility>

#include "core/sampling/linux/DisplayReader.h"
#include "core/sampling/linux/USBReader.h"
#include "core/system/linux/SystemBus.h"

namespace orvik {

DevicesReader::DevicesReader(const std::string& root, const Outside& outside)
    : root(root),
      busAddress(outside.busAddress),
      network(root, outside.reverseName, outside.networkLimits) {}

JSONObject DevicesReader::read(const std::vector<MountedVolume>& volumes, Instant now) {
  JSONValue::Array usbList;
  for (const ConnectionsParsing::USBDevice& device : readUSBDevices(root, volumes)) {
    usbList.push_back(device.json());
  }
  SystemBus bus(busAddress);
  JSONObject devices{{"usb", std::move(usbList)},
                     {"network", network.read(bus, now)},
                     {"displays", readDisplays(root)}};
  devices.merge(bluetooth.read(bus, now));
  return devices;
}

}  // namespace orvik
