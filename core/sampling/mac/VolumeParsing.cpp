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

/// Whether the volume has a name that installers give to pieces of a system which nobody opens.
bool isNamedAsPart(std::string_view name) {
  constexpr std::array<std::string_view, 3> names = {"Data", "Update", "VM"};
  return name.ends_with(" - Data") || std::ranges::find(names, name) != names.end();
}

struct Candidate {
  Volume volume;
  /// The name by which it is sorted.
  std::string key;
  bool isStartUp;
  std::optional<std::string> container;

  /// Whether this one stands for the container that both are in: as the person knows it, and never
  /// hiding that there are backups on it.
  [[nodiscard]] bool represents(const Candidate& other) const {
    const auto rank = [](const Candidate& candidate) {
      return std::tuple(!candidate.isStartUp, !candidate.volume.isTimeMachine,
                        isNamedAsPart(candidate.volume.name), std::string_view(candidate.key));
    };
    return rank(*this) < rank(other);
  }
};

void addOncePerContainer(Candidate candidate, std::vector<Candidate>& candidates) {
  const auto same = std::ranges::find_if(candidates, [&candidate](const Candidate& other) {
    return candidate.container && candidate.container == other.container;
  });
  if (same == candidates.end()) {
    candidates.push_back(std::move(candidate));
  } else if (candidate.represents(*same)) {
    *same = std::move(candidate);
  }
}

std::optional<Volume> described(const UntypedValue& entry) {
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
    auto volume = browsable(entry) ? described(entry) : std::nullopt;
    if (!volume || candidates.size() == mostVolumes) {
      continue;
    }
    volume->isTimeMachine = timeMachineDisk && compareText(volume->name, *timeMachineDisk) == 0;
    std::string key = lowercased(volume->name);
    addOncePerContainer({std::move(*volume), std::move(key), isStartUp(entry), containerOf(entry)},
                        candidates);
  }
  std::ranges::stable_sort(candidates, {}, [](const Candidate& candidate) {
    return std::pair(!candidate.isStartUp, std::string_view(candidate.key));
  });
  std::vector<Volume> result;
  result.reserve(candidates.size());
  for (Candidate& candidate : candidates) {
    result.push_back(std::move(candidate.volume));
  }
  return result;
}

}  // namespace orvik::ConnectionsParsing
