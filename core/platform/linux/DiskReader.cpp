#include "core/platform/linux/DiskReader.h"

#include <sys/statvfs.h>

#include <cmath>

#include "core/values/NumberText.h"

namespace orvik {

JSONObject DiskReader::read() const {
  struct statvfs status {};
  if (statvfs(folder.c_str(), &status) != 0 && statvfs("/", &status) != 0) {
    return {};
  }
  const auto block = static_cast<double>(status.f_frsize);
  const auto used = static_cast<double>(status.f_blocks) - static_cast<double>(status.f_bfree);
  const auto free = static_cast<double>(status.f_bavail);
  return keys({.total = (used + free) * block, .free = free * block});
}

JSONObject DiskReader::keys(const Capacity& capacity) {
  if (capacity.total < 1) {
    return {};
  }
  return {{"disk_pct", pyRound((capacity.total - capacity.free) * 100 / capacity.total, 1)},
          {"disk_free_gb", static_cast<std::int64_t>(std::nearbyint(capacity.free / 1e9))}};
}

}  // namespace orvik
