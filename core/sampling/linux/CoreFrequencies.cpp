#include "core/sampling/linux/CoreFrequencies.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <utility>

#include "core/sampling/linux/HardwareMonitor.h"
#include "core/sampling/linux/KernelText.h"

namespace orvik {

namespace {

/// Each costs an open file and a look at that CPU, for which some kernels take 10 to 20 ms: of more
/// than these every n-th stands for all.
constexpr std::size_t mostFiles = 16;

std::vector<TextFile> filesOf(const std::string& root, const std::vector<int>& cpus) {
  std::vector<TextFile> files;
  const std::size_t step = (cpus.size() + mostFiles - 1) / mostFiles;
  for (std::size_t index = 0; index < cpus.size(); index += step) {
    const std::string path = root + "/sys/devices/system/cpu/cpu" + std::to_string(cpus[index]) +
                             "/cpufreq/scaling_cur_freq";
    if (isReadable(path)) {
      files.emplace_back(path);
    }
  }
  return files;
}

std::optional<std::int64_t> meanMHz(std::vector<TextFile>& files) {
  double sum = 0;
  int count = 0;
  for (TextFile& file : files) {
    const auto kilohertz = file.readInteger();
    constexpr std::int64_t fastest = 100'000'000;
    if (kilohertz && *kilohertz > 0 && *kilohertz < fastest) {
      sum += static_cast<double>(*kilohertz);
      ++count;
    }
  }
  return count > 0 ? std::optional<std::int64_t>(std::llround(sum / count / 1000)) : std::nullopt;
}

}  // namespace

CoreFrequencies::CoreFrequencies(std::string root)
    : root(std::move(root)), description(this->root + "/proc/cpuinfo") {}

void CoreFrequencies::rescan() {
  const bool isScaled = !performance.empty() || !efficiency.empty();
  const CoreTypes before = std::exchange(types, readCoreTypes(root));
  if (types != before || !isScaled) {
    performance = filesOf(root, types.performance);
    efficiency = filesOf(root, types.efficiency);
  }
}

CoreFrequencies::Reading CoreFrequencies::read() {
  if (performance.empty() && efficiency.empty()) {
    std::array<char, std::size_t{32} * 1024> buffer;
    const auto mean = KernelText::averageMHz(description.read(buffer).value_or(""));
    return {.performance = mean ? std::optional<std::int64_t>(std::llround(*mean)) : std::nullopt,
            .efficiency = std::nullopt};
  }
  return {.performance = meanMHz(performance), .efficiency = meanMHz(efficiency)};
}

}  // namespace orvik
