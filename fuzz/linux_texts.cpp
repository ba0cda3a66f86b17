#include <algorithm>
#include <cstdlib>

#include "core/platform/linux/CoreTypes.h"
#include "core/platform/linux/KernelText.h"

/// What is read of the kernel's tables is within its bounds, whatever they hold.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace orvik;
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  (void)KernelText::processorTimes(text);
  const auto process = KernelText::processTimes(text);
  if (process && process->name.size() > size) {
    std::abort();
  }
  const auto memory = KernelText::memory(text);
  if (memory && (memory->used < 0 || memory->used > memory->total)) {
    std::abort();
  }
  const auto frequency = KernelText::averageMHz(text);
  if (frequency && *frequency <= 0) {
    std::abort();
  }
  const std::vector<int> cpus = parseCPUList(text);
  constexpr std::size_t most = 8192;
  if (cpus.size() > most ||
      std::ranges::adjacent_find(cpus, std::greater_equal<>()) != cpus.end()) {
    std::abort();
  }
  return 0;
}
