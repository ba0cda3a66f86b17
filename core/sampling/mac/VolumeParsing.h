#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "core/sampling/Volume.h"
#include "core/values/UntypedValue.h"

/// Pure functions that take what the Mac's tools print, broken and hostile output included; what is
/// unknown or malformed is skipped entry by entry and member by member.
namespace orvik::ConnectionsParsing {

/// Whether a person would browse the volume of this storage entry, judged by its name and by where
/// it is mounted: as the start-up volume or directly in /Volumes. The system's own volumes and
/// snapshots are mounted elsewhere or hidden.
[[nodiscard]] bool isBrowsable(const UntypedValue& entry);

/// The volumes of the storage data, given as the whole document or as the list of its entries. The
/// volumes that a system is divided into are listed as the one that has its name; all others are
/// listed, also those that share the space of a container. The start-up volume comes first, the
/// others follow by name whatever its case. Entries without name, size or free space are skipped.
/// A volume with the name of `timeMachineDisk`, case kept, is marked.
[[nodiscard]] std::vector<Volume> volumes(
    const UntypedValue& storage, const std::optional<std::string>& timeMachineDisk = std::nullopt,
    const std::function<bool(const UntypedValue& entry)>& browsable = isBrowsable);

}  // namespace orvik::ConnectionsParsing
