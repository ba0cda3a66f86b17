#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "core/values/JSONValue.h"

namespace orvik {

/// In bytes; `free` is what a user without privileges may still fill, `reserved` is kept for the
/// administrator beyond that.
struct VolumeCapacity {
  std::int64_t size = 0;
  std::int64_t free = 0;
  std::int64_t reserved = 0;
};

/// The capacity of the file system of this folder, from the system; nothing when it does not tell
/// or what is there is no folder. Blocks as long as the file system pleases.
[[nodiscard]] std::optional<VolumeCapacity> readCapacity(const std::string& folder);

/// How full the file system is that holds the user's files.
class DiskReader {
 public:
  /// The file system of this folder, usually the user's home; that of "/" where it does not exist.
  explicit DiskReader(std::string folder) : folder(std::move(folder)) {}

  /// "disk_pct" (used, 1 decimal) and "disk_free_gb" (10^9 bytes, ties to even); empty when
  /// unknown. A network file system that has gone makes this wait for as long as it is gone.
  [[nodiscard]] JSONObject read() const;

 private:
  std::string folder;
};

}  // namespace orvik
