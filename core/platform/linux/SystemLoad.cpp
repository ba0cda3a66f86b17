#include "core/platform/linux/SystemLoad.h"

#include "core/platform/linux/KernelText.h"
#include "core/platform/linux/TextFile.h"

namespace orvik {

std::int64_t readBootEpoch(const std::string& root) {
  // The line stands behind a number for each interrupt source, of which servers have thousands.
  constexpr std::size_t limit = std::size_t{1024} * 1024;
  const std::string statistics = readText(root + "/proc/stat", limit).value_or("");
  return KernelText::bootEpoch(statistics).value_or(0);
}

}  // namespace orvik
