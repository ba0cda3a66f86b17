#include "core/sampling/DiskFields.h"

#include "core/values/NumberText.h"

namespace orvik {

JSONObject diskFields(double total, double free) {
  if (!(total >= 1)) {
    return {};
  }
  return {{"disk_pct", pyRound((total - free) * 100 / total, 1)},
          {"disk_free_gb", wholeNumber(pyRound(free / 1e9, 0)).value_or(0)}};
}

}  // namespace orvik
