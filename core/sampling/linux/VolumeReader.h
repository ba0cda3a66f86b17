#pragma once

#include <chrono>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "core/async/SlowQuestions.h"
#include "core/sampling/Volume.h"
#include "core/sampling/linux/DiskReader.h"
#include "core/sampling/linux/MountTable.h"
#include "core/values/JSONValue.h"

namespace orvik {

/// A volume, and the USB device that carries it as the kernel names it ("2-1.3"; empty when none
/// does).
struct MountedVolume {
  ConnectionsParsing::Volume volume;
  std::string usbDevice;
};

/// The mounted volumes that a person would browse.
class VolumeReader {
 public:
  using CapacityOf = std::function<std::optional<VolumeCapacity>(const std::string& mountPoint)>;
  /// A server in the house answers within milliseconds.
  static constexpr std::chrono::milliseconds serverLimit{1000};

  /// Reads below `root`. All file systems but the start-up one, which this program could not live
  /// without, have `limit` together to tell their capacity the first time; `capacityOf` is called
  /// for them on other threads.
  explicit VolumeReader(std::string root, const CapacityOf& capacityOf = readCapacity,
                        std::chrono::milliseconds limit = serverLimit);

  /// The start-up volume first, then by name whatever its case. Without those that tell no capacity
  /// (a server that is gone for a minute): they could not be browsed either.
  [[nodiscard]] std::vector<MountedVolume> read();

 private:
  std::vector<std::optional<VolumeCapacity>> capacities(const std::vector<Mount>& mounts);

  std::string root;
  CapacityOf capacityOf;
  SlowQuestions<std::optional<VolumeCapacity>> slowCapacities;
};

/// The array that phones are shown, with the volumes of this name marked as the backups' disk.
[[nodiscard]] JSONValue volumesJSON(const std::vector<MountedVolume>& volumes,
                                    const std::optional<std::string>& timeMachineDisk);

}  // namespace orvik
