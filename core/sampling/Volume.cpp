#include "core/sampling/Volume.h"

#include "core/values/JSONMembers.h"
#include "core/values/NumberText.h"

namespace orvik {

JSONValue ConnectionsParsing::Volume::json() const {
  return JSONObject{{"name", name},
                    {"size_bytes", sizeBytes},
                    {"free_bytes", freeBytes},
                    {"protocol", orNull(protocol)},
                    {"is_time_machine", isTimeMachine}};
}

JSONObject diskFields(double total, double free) {
  if (!(total >= 1)) {
    return {};
  }
  return {{"disk_pct", pyRound((total - free) * 100 / total, 1)},
          {"disk_free_gb", wholeNumber(pyRound(free / 1e9, 0)).value_or(0)}};
}

}  // namespace orvik
