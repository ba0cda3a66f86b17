#include "core/sampling/linux/VolumeCapacity.h"

#include <sys/statvfs.h>

#include <algorithm>
#include <filesystem>

namespace orvik {

std::optional<VolumeCapacity> readCapacity(const std::string& folder) {
  struct statvfs status {};
  std::error_code error;
  if (statvfs(folder.c_str(), &status) != 0 || !std::filesystem::is_directory(folder, error)) {
    return std::nullopt;
  }
  VolumeCapacity capacity;
  const auto reserved = status.f_bfree - std::min(status.f_bavail, status.f_bfree);
  if (__builtin_mul_overflow(status.f_blocks, status.f_frsize, &capacity.size) ||
      __builtin_mul_overflow(status.f_bavail, status.f_frsize, &capacity.free) ||
      __builtin_mul_overflow(reserved, status.f_frsize, &capacity.reserved)) {
    return std::nullopt;
  }
  return capacity;
}

}  // namespace orvik
