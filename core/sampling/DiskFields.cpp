#include "core/sampling/DiskFields.h"

#include "core/values/NumberText.h"

namespace orvik {

JSONObject diskFields(std::int64_t total, std::int64_t free) {
  if (total < 1) {
    return {};
  }
  const auto size = static_cast<double>(total);
  const auto left = static_cast<double>(free);
  return {{"disk_pct", pyRound((size - left) * 100 / size, 1)},
          {"disk_free_gb", static_cast<std::int64_t>(pyRound(left / 1e9, 0))}};
}

}  // namespace orvik
