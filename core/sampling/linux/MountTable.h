#pragma once

#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace orvik {

/// One file system, or a part of one, at its place in the folder tree.
struct Mount {
  /// The device number: the same for every mount of one file system.
  std::string device;
  /// What of the file system is mounted: "/" for the whole.
  std::string root;
  std::string mountPoint;
  /// "ext4", "nfs4", "fuse.sshfs".
  std::string fileSystem;
  /// "/dev/sda1", "server:/export"; whatever was given when it was mounted.
  std::string source;

  bool operator==(const Mount&) const = default;
};

/// The mounts of a mountinfo text, in its order. Lines that are not of the documented form are
/// skipped, and so is what lies hidden under a later mount at the same place.
[[nodiscard]] std::vector<Mount> parseMountInfo(std::string_view text);

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
