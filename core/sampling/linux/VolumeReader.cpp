#include "core/sampling/linux/VolumeReader.h"

#include <algorithm>
#include <filesystem>
#include <map>

#include "core/sampling/linux/BlockDevice.h"
#include "core/sampling/linux/MountTable.h"
#include "core/system/linux/TextFile.h"
#include "core/values/Text.h"

namespace orvik {

namespace fs = std::filesystem;

namespace {

/// Hosts of containers have thousands of mounts, of a kilobyte or two for each container.
constexpr std::size_t mountInfoLimit = std::size_t{4} * 1024 * 1024;

/// udev writes the bytes that it does not want in a file name as \x20.
std::string decodedLabel(std::string_view name) {
  std::string label;
  for (std::size_t i = 0; i < name.size(); ++i) {
    const auto byte = name.substr(i, 2) == "\\x" && i + 4 <= name.size()
                          ? byteFromHex(name.substr(i + 2, 2))
                          : std::nullopt;
    if (byte) {
      label += static_cast<char>(*byte);
      i += 3;
    } else {
      label += name[i];
    }
  }
  return label;
}

/// The labels of file systems by the kernel's name of their device.
std::map<std::string, std::string> readLabels(const std::string& root) {
  const std::string folder = root + "/dev/disk/by-label";
  std::map<std::string, std::string> labels;
  for (const std::string& name : namesIn(folder)) {
    std::error_code error;
    const fs::path device = fs::read_symlink(fs::path(folder) / name, error);
    if (!error) {
      labels.emplace(device.filename().string(), decodedLabel(name));
    }
  }
  return labels;
}

std::string nameOf(const Mount& mount, const std::string& label) {
  if (!label.empty()) {
    return repairedUTF8(label);
  }
  return mount.mountPoint == "/" ? "/"
                                 : repairedUTF8(fs::path(mount.mountPoint).filename().string());
}

/// Something other than a folder, which can be mounted too: a container's settings file.
bool isFile(const std::string& path) {
  std::error_code error;
  const fs::file_status status = fs::status(path, error);
  return fs::exists(status) && !fs::is_directory(status);
}

}  // namespace

VolumeReader::VolumeReader(std::string root, const CapacityOf& capacityOf,
                           std::chrono::milliseconds limit)
    : root(std::move(root)), capacityOf(capacityOf), slowCapacities(capacityOf, limit) {}

std::vector<std::optional<VolumeCapacity>> VolumeReader::capacities(
    const std::vector<Mount>& mounts) {
  std::vector<std::string> slow;
  for (const Mount& mount : mounts) {
    if (mount.mountPoint != "/") {
      slow.push_back(mount.mountPoint);
    }
  }
  const auto slowAnswers = slowCapacities.answers(slow);
  auto slowAnswer = slowAnswers.begin();
  std::vector<std::optional<VolumeCapacity>> capacities;
  capacities.reserve(mounts.size());
  for (const Mount& mount : mounts) {
    capacities.push_back(mount.mountPoint == "/" ? capacityOf(mount.mountPoint)
                                                 : (slowAnswer++)->value_or(std::nullopt));
  }
  return capacities;
}

std::vector<MountedVolume> VolumeReader::read() {
  const auto mountInfo = readText(root + "/proc/self/mountinfo", mountInfoLimit);
  const std::vector<Mount> mounts =
      browsableMounts(parseMountInfo(mountInfo.value_or("")),
                      [this](const std::string& mountPoint) { return isFile(root + mountPoint); });
  const auto capacitiesOfMounts = capacities(mounts);
  const std::map<std::string, std::string> labels = readLabels(root);
  std::vector<MountedVolume> volumes;
  std::ptrdiff_t startUpVolumes = 0;
  for (std::size_t i = 0; i < mounts.size(); ++i) {
    const Mount& mount = mounts[i];
    const auto& capacity = capacitiesOfMounts[i];
    // As for the whole machine: what is kept for the administrator is neither used nor free, so
    // that one disk has one share.
    const std::int64_t size = capacity ? capacity->size - capacity->reserved : 0;
    if (size <= 0) {
      continue;
    }
    startUpVolumes += mount.mountPoint == "/" ? 1 : 0;
    const BlockDevice device =
        findBlockDevice(root, mount.device, mount.source).value_or(BlockDevice{});
    const auto label = labels.find(device.name);
    volumes.push_back({.volume = {.name = nameOf(mount, label == labels.end() ? "" : label->second),
                                  .sizeBytes = size,
                                  .freeBytes = std::min(capacity->free, size),
                                  .protocol = isNetworkMount(mount) ? "Network" : device.protocol,
                                  .media = repairedUTF8(device.media)},
                       .usbDevice = device.usbDevice});
  }
  std::stable_sort(volumes.begin() + startUpVolumes, volumes.end(),
                   [](const MountedVolume& left, const MountedVolume& right) {
                     return lowercased(left.volume.name) < lowercased(right.volume.name);
                   });
  return volumes;
}

JSONValue volumesJSON(const std::vector<MountedVolume>& volumes,
                      const std::optional<std::string>& timeMachineDisk) {
  JSONValue::Array array;
  for (const MountedVolume& entry : volumes) {
    ConnectionsParsing::Volume volume = entry.volume;
    volume.isTimeMachine = volume.name == timeMachineDisk;
    array.push_back(volume.json());
  }
  return array;
}

}  // namespace orvik
