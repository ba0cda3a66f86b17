#include "core/sampling/linux/DiskReader.h"

#include <sys/statvfs.h>

#include <algorithm>
#include <filesystem>

#include "core/sampling/Volume.h"

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

JSONObject DiskReader::read() const {
  auto capacity = readCapacity(folder);
  if (!capacity) {
    capacity = readCapacity("/");
  }
  if (!capacity) {
    return {};
  }
  // As `df` has it: what is kept for the administrator is neither used nor free.
  return diskFields(static_cast<double>(capacity->size - capacity->reserved),
                    static_cast<double>(capacity->free));
}

}  // namespace orvik
