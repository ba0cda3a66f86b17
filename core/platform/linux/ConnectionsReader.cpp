#include "core/platform/linux/ConnectionsReader.h"

#include <utility>
#include <vector>

namespace orvik {

ConnectionsReader::ConnectionsReader(const std::string& root, const Outside& outside)
    : volumes(root, outside.capacityOf),
      usb(root),
      displays(root),
      network(root, outside.busAddress, outside.reverseName, outside.networkLimits),
      bluetooth(outside.busAddress) {}

JSONObject ConnectionsReader::read(const std::optional<std::string>& timeMachineDisk, Instant now) {
  std::vector<MountedVolume> mounted = volumes.read();
  JSONValue::Array volumeList;
  for (MountedVolume& entry : mounted) {
    entry.volume.isTimeMachine = entry.volume.name == timeMachineDisk;
    volumeList.push_back(entry.volume.json());
  }
  JSONValue::Array usbList;
  for (const ConnectionsParsing::USBDevice& device : usb.read(mounted)) {
    usbList.push_back(device.json());
  }
  JSONObject connections{{"volumes", std::move(volumeList)},
                         {"usb", std::move(usbList)},
                         {"network", network.read(now)},
                         {"displays", displays.read()}};
  connections.merge(bluetooth.read());
  return connections;
}

}  // namespace orvik
