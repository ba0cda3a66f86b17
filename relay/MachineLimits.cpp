#include "relay/MachineLimits.h"

#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <thread>

namespace orvik::relay {

namespace {

/// Some systems claim to give more than anybody could use.
constexpr rlim_t mostDescriptors = 1'048'576;
/// Where the system does not say.
constexpr std::size_t leastMemory = 512UL << 20U;

std::size_t raisedDescriptors() {
  rlimit limit{};
  if (getrlimit(RLIMIT_NOFILE, &limit) != 0) {
    return 256;
  }
  const rlim_t most = std::min(limit.rlim_max, mostDescriptors);
  if (limit.rlim_cur < most) {
    rlimit raised = limit;
    raised.rlim_cur = most;
    if (setrlimit(RLIMIT_NOFILE, &raised) == 0) {
      return most;
    }
  }
  return std::min(limit.rlim_cur, mostDescriptors);
}

std::size_t physicalMemory() {
  const long pages = sysconf(_SC_PHYS_PAGES);
  const long pageSize = sysconf(_SC_PAGESIZE);
  return pages <= 0 || pageSize <= 0
             ? leastMemory
             : static_cast<std::size_t>(pages) * static_cast<std::size_t>(pageSize);
}

}  // namespace

MachineLimits MachineLimits::ask() {
  return {raisedDescriptors(), physicalMemory(),
          std::max<std::size_t>(1, std::thread::hardware_concurrency())};
}

std::size_t MachineLimits::connections() const {
  constexpr std::size_t perConnection = 20UL << 10U;
  const std::size_t byDescriptors =
      descriptors > 2 * otherDescriptors ? descriptors - otherDescriptors : descriptors / 2;
  return std::max<std::size_t>(1, std::min(byDescriptors, memory / 2 / perConnection));
}

}  // namespace orvik::relay
