#include "core/sampling/linux/DevicesReader.h"

#include <utility>

#include "core/system/linux/SystemBus.h"

namespace orvik {

DevicesReader::DevicesReader(const std::string& root, const Outside& outside)
    : busAddress(outside.busAddress),
      usb(root),
      displays(root),
      network(root, outside.reverseName, outside.networkLimits) {}

JSONObject DevicesReader::read(const std::vector<MountedVolume>& volumes, Instant now) {
  JSONValue::Array usbList;
  for (const ConnectionsParsing::USBDevice& device : usb.read(volumes)) {
    usbList.push_back(device.json());
  }
  SystemBus bus(busAddress);
  JSONObject devices{{"usb", std::move(usbList)},
                     {"network", network.read(bus, now)},
                     {"displays", displays.read()}};
  devices.merge(bluetooth.read(bus, now));
  return devices;
}

}  // namespace orvik
