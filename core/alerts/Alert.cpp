#include "core/alerts/Alert.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <span>

#include "core/values/JSONMembers.h"

namespace orvik {

namespace {

/// In the order of the enumerators.
constexpr std::array<std::string_view, 5> kinds = {"temp_high", "disk_full", "on_battery",
                                                   "battery_low", "time_machine"};
constexpr std::array<std::string_view, 2> states = {"raised", "cleared"};

template <typename Case>
std::optional<Case> caseOf(std::span<const std::string_view> texts, std::string_view wanted) {
  const auto found = std::ranges::find(texts, wanted);
  return found == texts.end() ? std::nullopt
                              : std::optional(static_cast<Case>(found - texts.begin()));
}

}  // namespace

std::string_view Alert::text(Kind kind) { return kinds.at(static_cast<std::size_t>(kind)); }
std::string_view Alert::text(State state) { return states.at(static_cast<std::size_t>(state)); }
std::optional<Alert::Kind> Alert::kindFrom(std::string_view text) {
  return caseOf<Kind>(kinds, text);
}
std::optional<Alert::State> Alert::stateFrom(std::string_view text) {
  return caseOf<State>(states, text);
}

JSONValue Alert::json() const {
  JSONObject object{{"kind", text(kind)}, {"state", text(state)}, {"epoch_ms", epochMs}};
  if (value && std::isfinite(*value)) {
    object.set("value", *value);
  }
  setIfPresent(object, "threshold", threshold);
  setIfPresent(object, "disk_free_gb", diskFreeGb);
  setIfPresent(object, "battery_min", batteryMin);
  setIfPresent(object, "backup_epoch", backupEpoch);
  setIfPresent(object, "backup_disk_name", backupDiskName);
  setIfPresent(object, "backup_disk_connected", backupDiskConnected);
  return object;
}

std::optional<Alert> Alert::from(const JSONValue& json) {
  const auto* object = json.get<JSONObject>();
  if (object == nullptr) {
    return std::nullopt;
  }
  std::string kindText;
  std::string stateText;
  Alert alert{};
  const bool isComplete =
      readMember(*object, "kind", kindText) && readMember(*object, "state", stateText) &&
      readMember(*object, "epoch_ms", alert.epochMs) && readMember(*object, "value", alert.value) &&
      readMember(*object, "threshold", alert.threshold) &&
      readMember(*object, "disk_free_gb", alert.diskFreeGb) &&
      readMember(*object, "battery_min", alert.batteryMin) &&
      readMember(*object, "backup_epoch", alert.backupEpoch) &&
      readMember(*object, "backup_disk_name", alert.backupDiskName) &&
      readMember(*object, "backup_disk_connected", alert.backupDiskConnected);
  const auto readKind = kindFrom(kindText);
  const auto readState = stateFrom(stateText);
  if (!isComplete || !readKind || !readState) {
    return std::nullopt;
  }
  alert.kind = *readKind;
  alert.state = *readState;
  return alert;
}

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
