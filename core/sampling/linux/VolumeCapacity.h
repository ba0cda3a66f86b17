#pragma once

#include <cstdint>
#include <optional>
#include <string>

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

}  // namespace orvik
