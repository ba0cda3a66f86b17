#include "core/sampling/linux/CoreTypes.h"

#include <algorithm>
#include <charconv>
#include <iterator>
#include <map>

#include "core/system/linux/TextFile.h"

namespace orvik {

namespace {

/// The most that a kernel is built for.
constexpr int mostCPUs = 8192;

}  // namespace

std::vector<int> parseCPUList(std::string_view text) {
  std::vector<int> cpus;
  const char* position = text.data();
  const char* const end = position + text.size();
  for (;;) {
    int first = 0;
    auto parsed = std::from_chars(position, end, first);
    if (parsed.ec != std::errc{} || first < 0) {
      break;
    }
    int last = first;
    if (parsed.ptr != end && *parsed.ptr == '-') {
      parsed = std::from_chars(parsed.ptr + 1, end, last);
      if (parsed.ec != std::errc{}) {
        break;
      }
    }
    // Ascending and bounded, so that a broken list cannot make this long.
    first = cpus.empty() ? first : std::max(first, cpus.back() + 1);
    for (last = std::min(last, mostCPUs - 1); first <= last; ++first) {
      cpus.push_back(first);
    }
    if (parsed.ptr == end || *parsed.ptr != ',') {
      break;
    }
    position = parsed.ptr + 1;
  }
  return cpus;
}

CoreTypes readCoreTypes(const std::string& root) {
  CoreTypes types;
  const std::string devices = root + "/sys/devices";
  types.performance = parseCPUList(readLine(devices + "/cpu_core/cpus"));
  types.efficiency = parseCPUList(readLine(devices + "/cpu_atom/cpus"));
  const std::string folder = devices + "/system/cpu";
  if (!types.performance.empty()) {
    // Low-power efficiency cores may be in a list of their own, whose name has changed. The kinds
    // list what is on-line: a CPU that is not could be of any.
    std::vector<int> known;
    std::ranges::set_union(types.performance, types.efficiency, std::back_inserter(known));
    const std::vector<int> online = parseCPUList(readLine(folder + "/online"));
    std::vector<int> efficiency;
    std::ranges::set_difference(online, known, std::back_inserter(efficiency));
    std::ranges::copy(types.efficiency, std::back_inserter(efficiency));
    std::ranges::sort(efficiency);
    types.efficiency = std::move(efficiency);
    return types;
  }
  types = {};
  std::map<int, std::int64_t> capacities;
  std::int64_t largest = 0;
  for (const int cpu : parseCPUList(readLine(folder + "/present"))) {
    TextFile file(folder + "/cpu" + std::to_string(cpu) + "/cpu_capacity");
    const std::int64_t capacity = file.readInteger().value_or(0);
    capacities.emplace(cpu, capacity);
    largest = std::max(largest, capacity);
  }
  for (const auto& [cpu, capacity] : capacities) {
    const bool isSmall = capacity > 0 && capacity < largest - largest / 3;
    (isSmall ? types.efficiency : types.performance).push_back(cpu);
  }
  return types;
}

}  // namespace orvik
