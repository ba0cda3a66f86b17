#include "core/sampling/mac/VolumeParsing.h"

#include <algorithm>
#include <array>
#include <tuple>
#include <utility>

#include "core/sampling/mac/ProfilerDocument.h"
#include "core/values/JSONMembers.h"
#include "core/values/Text.h"

namespace orvik::ConnectionsParsing {

namespace {

constexpr std::string_view volumesFolder = "/Volumes/";

/// More volumes than any machine has mounted: a bound on what matching them with devices costs.
constexpr std::size_t mostVolumes = 256;

bool isStartUp(const UntypedValue& entry) { return textMember(entry, "mount_point") == "/"; }

/// The APFS container of the volume, named by its whole disk ("disk3" of "disk3s1s1"). Nothing for
/// other file systems, whose volumes each have a space of their own.
std::optional<std::string> containerOf(const UntypedValue& entry) {
  constexpr std::string_view prefix = "disk";
  const auto fileSystem = textMember(entry, "file_system");
  const auto device = textMember(entry, "bsd_name");
  if (!fileSystem || fileSystem->find("APFS") == std::string::npos || !device ||
      !device->starts_with(prefix)) {
    return std::nullopt;
  }
  const std::size_t end = device->find_first_not_of("0123456789", prefix.size());
  return device->substr(0, end);
}

struct Candidate {
  Volume volume;
  /// The name by which it is sorted.
  std::string key;
  std::string mountPoint;
  std::optional<std::string> container;
  bool isWritable;

  [[nodiscard]] bool isStartUp() const { return mountPoint == "/"; }

  /// Whether this is one of the volumes that an installer divides a system into, of which a person
  /// knows just the one that has the system's name.
  [[nodiscard]] bool isPieceOf(const Candidate& system) const {
    if (!container || container != system.container || volume.isTimeMachine) {
      return false;
    }
    constexpr std::array<std::string_view, 5> pieces = {"Data", "Preboot", "Recovery", "Update",
                                                        "VM"};
    // A person may call a volume so too: only beside a system that is not in use, whose own volume
    // nobody can write to, is it a piece when it is mounted where a person's volumes are.
    return (system.isStartUp() && mountPoint.starts_with("/System/Volumes/")) ||
           volume.name == system.volume.name + " - Data" ||
           (!system.isStartUp() && !system.isWritable && isWritable &&
            std::ranges::find(pieces, volume.name) != pieces.end());
  }
};

std::optional<Volume> describedVolume(const UntypedValue& entry) {
  auto name = textMember(entry, "_name");
  const auto size = integerMember(entry, "size_in_bytes");
  const auto free = integerMember(entry, "free_space_in_bytes");
  if (!name || !size || !free || *size <= 0 || *free < 0) {
    return std::nullopt;
  }
  Volume volume;
  volume.name = std::move(*name);
  volume.sizeBytes = *size;
  volume.freeBytes = *free;
  if (const UntypedValue* drive = entry.find("physical_drive")) {
    volume.protocol = textMember(*drive, "protocol");
    // Volumes of a container have the container's name there, which no drive has.
    const auto media = textMember(*drive, "media_name");
    const bool isDrive = media && *media != "AppleAPFSMedia";
    volume.media = (isDrive ? media : textMember(*drive, "device_name")).value_or("");
  }
  return volume;
}

}  // namespace

bool isBrowsable(const UntypedValue& entry) {
  if (isStartUp(entry)) {
    return true;
  }
  const auto mountPoint = textMember(entry, "mount_point");
  if (!mountPoint || !mountPoint->starts_with(volumesFolder)) {
    return false;
  }
  const auto folder = std::string_view(*mountPoint).substr(volumesFolder.size());
  // Snapshots and backups in progress are mounted in folders of their own or under such names.
  if (folder.empty() || folder.starts_with('.') || folder.starts_with("com.apple.") ||
      folder.find('/') != std::string_view::npos) {
    return false;
  }
  constexpr std::array<std::string_view, 3> systemNames = {"Preboot", "Recovery", "Recovery HD"};
  const auto name = textMember(entry, "_name");
  return !name || std::ranges::find(systemNames, *name) == systemNames.end();
}

std::vector<Volume> volumes(const UntypedValue& storage,
                            const std::optional<std::string>& timeMachineDisk,
                            const std::function<bool(const UntypedValue& entry)>& browsable) {
  const auto* entries = storage.get<UntypedValue::List>();
  std::vector<Candidate> candidates;
  for (const UntypedValue& entry :
       entries == nullptr ? listMember(storage, "SPStorageDataType") : *entries) {
    auto volume = browsable(entry) ? describedVolume(entry) : std::nullopt;
    if (!volume || candidates.size() == mostVolumes) {
      continue;
    }
    volume->isTimeMachine = timeMachineDisk && compareText(volume->name, *timeMachineDisk) == 0;
    std::string key = lowercased(volume->name);
    candidates.push_back({std::move(*volume), std::move(key),
                          textMember(entry, "mount_point").value_or(""), containerOf(entry),
                          textMember(entry, "writable") != "no"});
  }
  std::ranges::stable_sort(candidates, {}, [](const Candidate& candidate) {
    return std::pair(!candidate.isStartUp(), std::string_view(candidate.key));
  });
  std::vector<Volume> result;
  for (const Candidate& candidate : candidates) {
    if (std::ranges::none_of(candidates, [&candidate](const Candidate& other) {
          return candidate.isPieceOf(other);
        })) {
      result.push_back(candidate.volume);
    }
  }
  return result;
}

}  // namespace orvik::ConnectionsParsing
