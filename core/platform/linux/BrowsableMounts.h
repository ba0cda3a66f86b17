#pragma once

#include <vector>

#include "core/platform/linux/MountTable.h"

namespace orvik {

/// The file system lives on another computer: asking it may take for ever.
[[nodiscard]] bool isNetworkMount(const Mount& mount);

/// The file system is a program, which may hang as a network does.
[[nodiscard]] bool isProgramMount(const Mount& mount);

/// The mounts that a person would browse, each file system once: disks, media and shares, but
/// none of the system's own partitions, images of packages, layers of containers or memory. Bind
/// mounts, subvolumes and the data sets of one pool share their space, and count as one. The
/// start-up file system, mounted at "/", comes first.
[[nodiscard]] std::vector<Mount> browsableMounts(std::vector<Mount> mounts);

}  // namespace orvik
