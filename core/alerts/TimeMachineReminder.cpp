#include "core/alerts/TimeMachineReminder.h"

#include "core/values/Record.h"

namespace orvik {

JSONValue TimeMachineReminder::json() const { return JSONObject{{"at", at}, {"backup", backup}}; }

std::optional<TimeMachineReminder> TimeMachineReminder::from(const JSONValue& json) {
  const auto* object = json.get<JSONObject>();
  TimeMachineReminder reminder;
  if (object == nullptr || !readMember(*object, "at", reminder.at) ||
      !readMember(*object, "backup", reminder.backup)) {
    return std::nullopt;
  }
  return reminder;
}

}  // namespace orvik
