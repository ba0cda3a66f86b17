#pragma once

#include <functional>
#include <string>
#include <vector>

#include "core/sampling/linux/MountTable.h"

namespace orvik {

/// The file system lives on another computer: asking it may take for ever.
[[nodiscard]] bool isNetworkMount(const Mount& mount);

/// The mounts that a person would browse, each file system once: disks, media and shares, but
/// none of the system's own partitions, images of packages, layers of containers or memory. Bind
/// mounts, subvolumes and the data sets of one pool share their space, and count as one. The
/// start-up file system, mounted at "/", comes first.
///
/// A file can be mounted as a folder can. `isFile` is asked for mount points that may be one, but
/// for those of file systems that may hang.
[[nodiscard]] std::vector<Mount> browsableMounts(
    std::vector<Mount> mounts, const std::function<bool(const std::string& mountPoint)>& isFile);

}  // namespace orvik
