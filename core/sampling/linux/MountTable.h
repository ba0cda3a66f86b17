#pragma once

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

}  // namespace orvik
