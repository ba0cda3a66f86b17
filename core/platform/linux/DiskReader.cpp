#include "core/platform/linux/DiskReader.h"

#include <sys/statvfs.h>

#include "core/sampling/DiskFields.h"

namespace orvik {

JSONObject DiskReader::read() const {
  struct statvfs status {};
  if (statvfs(folder.c_str(), &status) != 0 && statvfs("/", &status) != 0) {
    return {};
  }
  const auto block = static_cast<double>(status.f_frsize);
  const auto used = static_cast<double>(status.f_blocks) - static_cast<double>(status.f_bfree);
  const auto free = static_cast<double>(status.f_bavail);
  // As `df` has it: what is kept for the administrator is neither used nor free.
  return diskFields((used + free) * block, free * block);
}

}  // namespace orvik
