#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "core/platform/linux/MountTable.h"
#include "core/platform/linux/SlowQuestions.h"
#include "core/sampling/ConnectionsParsing.h"

namespace orvik {

/// A volume, and the USB device that carries it as the kernel names it ("2-1.3"; empty when none
/// does).
struct MountedVolume {
  ConnectionsParsing::Volume volume;
  std::string usbDevice;
};

/// In bytes; `free` is what a user without privileges may still fill.
struct VolumeCapacity {
  std::int64_t size = 0;
  std::int64_t free = 0;
};

/// The capacity of what is mounted there, from the system; nothing when it does not tell. Blocks
/// as long as the file system pleases.
[[nodiscard]] std::optional<VolumeCapacity> readCapacity(const std::string& mountPoint);

/// The mounted volumes that a person would browse.
class VolumeReader {
 public:
  using CapacityOf = std::function<std::optional<VolumeCapacity>(const std::string& mountPoint)>;
  /// A server in the house answers within milliseconds.
  static constexpr std::chrono::milliseconds serverLimit{1000};

  /// Reads below `root`. All shares and all file systems that are programs together have `limit`
  /// to tell their capacity; `capacityOf` is called for them on other threads.
  explicit VolumeReader(std::string root, const CapacityOf& capacityOf = readCapacity,
                        std::chrono::milliseconds limit = serverLimit);

  /// The start-up volume first, then by name whatever its case. Without those that tell no capacity
  /// (a server that is gone): they could not be browsed either.
  [[nodiscard]] std::vector<MountedVolume> read();

 private:
  std::vector<std::optional<VolumeCapacity>> capacities(const std::vector<Mount>& mounts);

  std::string root;
  CapacityOf capacityOf;
  SlowQuestions<std::optional<VolumeCapacity>> slowCapacities;
};

}  // namespace orvik
