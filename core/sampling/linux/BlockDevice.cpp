#include "core/sampling/linux/BlockDevice.h"

#include <algorithm>
#include <array>
#include <filesystem>
#include <string_view>

#include "core/system/linux/TextFile.h"

namespace orvik {

namespace fs = std::filesystem;

namespace {

/// Encrypted logical volumes on RAID are three deep; a cycle must end somewhere.
constexpr int mostLayers = 8;

struct Bus {
  /// With a number behind it, a folder of this name is on the way to every drive of the bus.
  std::string_view folder;
  std::string_view protocol;
};
/// The first that is on the way counts: a drive in a USB case stands behind SCSI hosts too. The
/// words for what both systems have are the Mac's.
constexpr std::array<Bus, 12> buses{{{"usb", "USB"},
                                     {"fw", "FireWire"},
                                     {"nvme", "NVMe"},
                                     {"session", "iSCSI"},
                                     {"port-", "SAS"},
                                     {"ata", "SATA"},
                                     {"virtio", "VirtIO"},
                                     {"vbd-", "Xen"},
                                     {"nbd", "Network"},
                                     {"rbd", "Network"},
                                     {"loop", "Disk Image"},
                                     {"host", "SCSI"}}};

bool isNumbered(std::string_view name, std::string_view prefix) {
  return name.starts_with(prefix) && name.size() > prefix.size() && name[prefix.size()] >= '0' &&
         name[prefix.size()] <= '9';
}

/// The way to a device through the machine, or empty when there is none.
fs::path canonicalPath(const fs::path& path) {
  std::error_code error;
  fs::path result = fs::canonical(path, error);
  return error ? fs::path() : result;
}

/// The folder of the drive that carries this device: itself, the disk that it is a part of, or of
/// what lies below it.
fs::path driveOf(fs::path device) {
  for (int layer = 0; layer < mostLayers; ++layer) {
    if (!readLine((device / "partition").string()).empty()) {
      device = device.parent_path();
    }
    const std::vector<std::string> carriers = namesIn((device / "slaves").string());
    const fs::path next =
        carriers.empty() ? fs::path() : canonicalPath(device / "slaves" / carriers.front());
    if (next.empty()) {
      break;
    }
    device = next;
  }
  return device;
}

std::optional<std::string> protocolOf(const fs::path& drive) {
  const std::string cardType = readLine((drive / "device/type").string());
  if (drive.filename().string().starts_with("mmcblk")) {
    return cardType == "SD" ? "Secure Digital" : "eMMC";
  }
  for (const auto& [folder, protocol] : buses) {
    const bool isOnTheWay = std::ranges::any_of(
        drive, [&](const fs::path& part) { return isNumbered(part.string(), folder); });
    if (isOnTheWay) {
      return std::string(protocol);
    }
  }
  return std::nullopt;
}

std::string mediaOf(const fs::path& drive) {
  const fs::path device = drive / "device";
  std::string vendor = readLine((device / "vendor").string());
  // SATA drives have no vendor of their own, and PCI's numbers are no names.
  if (vendor == "ATA" || vendor.starts_with("0x")) {
    vendor.clear();
  }
  std::string model = readLine((device / "model").string());
  if (model.empty()) {
    model = readLine((device / "name").string());
  }
  return vendor.empty() || model.empty() ? vendor + model : vendor + " " + model;
}

/// Interfaces are named after their device: "2-1.3:1.0". The last on the way is the drive's.
std::string usbDeviceOf(const fs::path& drive) {
  std::string device;
  for (const fs::path& part : drive) {
    const std::string name = part.string();
    const std::size_t colon = name.find(':');
    if (colon != std::string::npos && isNumbered(name, "") && name.find('-') < colon) {
      device = name.substr(0, colon);
    }
  }
  return device;
}

fs::path deviceFolder(const std::string& root, const std::string& number,
                      const std::string& source) {
  // Major number 0 stands for no device at all.
  if (!number.starts_with("0:")) {
    return canonicalPath(root + "/sys/dev/block/" + number);
  }
  if (!source.starts_with("/dev/")) {
    return {};
  }
  const fs::path node = canonicalPath(root + source);
  const fs::path name = node.empty() ? fs::path(source).filename() : node.filename();
  return name.empty() ? fs::path() : canonicalPath(root + "/sys/class/block/" + name.string());
}

}  // namespace

std::optional<BlockDevice> findBlockDevice(const std::string& root, const std::string& number,
                                           const std::string& source) {
  const fs::path device = deviceFolder(root, number, source);
  if (device.empty()) {
    return std::nullopt;
  }
  const fs::path drive = driveOf(device);
  return BlockDevice{.name = device.filename().string(),
                     .protocol = protocolOf(drive),
                     .media = mediaOf(drive),
                     .usbDevice = usbDeviceOf(drive)};
}

}  // namespace orvik
