#pragma once

#include <optional>
#include <string>

namespace orvik {

/// What carries a file system.
struct BlockDevice {
  /// The kernel's name of the device: "sda1", "dm-0".
  std::string name;
  /// How the drive is attached: "USB", "NVMe", "SATA", "Secure Digital", "Disk Image" and others.
  std::optional<std::string> protocol;
  /// The drive's maker and model as far as it tells them.
  std::string media;
  /// The USB device that the drive is, or is in, as the kernel names it ("2-1.3"); empty when it
  /// is none.
  std::string usbDevice;
};

/// The device with this number ("8:1"), or where file systems of several devices have none that
/// means anything, the device that was mounted ("/dev/mapper/home"). Of one that others carry
/// (encrypted, logical volume, RAID) the first drive counts. Nothing when there is none below
/// `root`.
[[nodiscard]] std::optional<BlockDevice> findBlockDevice(const std::string& root,
                                                         const std::string& number,
                                                         const std::string& source);

}  // namespace orvik
