#include "core/alerts/Alert.h"

#include <array>
#include <cmath>
#include <utility>

#include "core/values/JSONMembers.h"

namespace orvik {

namespace {

constexpr std::array<std::pair<Alert::Kind, std::string_view>, 5> kinds = {{
    {Alert::Kind::tempHigh, "temp_high"},
    {Alert::Kind::diskFull, "disk_full"},
    {Alert::Kind::onBattery, "on_battery"},
    {Alert::Kind::batteryLow, "battery_low"},
    {Alert::Kind::timeMachine, "time_machine"},
}};

constexpr std::array<std::pair<Alert::State, std::string_view>, 2> states = {{
    {Alert::State::raised, "raised"},
    {Alert::State::cleared, "cleared"},
}};

template <typename Table, typename Case>
std::string_view textOf(const Table& table, Case wanted) {
  for (const auto& [enumerator, text] : table) {
    if (enumerator == wanted) {
      return text;
    }
  }
  return {};
}

template <typename Case, std::size_t count>
std::optional<Case> caseOf(const std::array<std::pair<Case, std::string_view>, count>& table,
                           std::string_view wanted) {
  for (const auto& [enumerator, text] : table) {
    if (text == wanted) {
      return enumerator;
    }
  }
  return std::nullopt;
}

}  // namespace

std::string_view Alert::text(Kind kind) { return textOf(kinds, kind); }
std::string_view Alert::text(State state) { return textOf(states, state); }
std::optional<Alert::Kind> Alert::kindFrom(std::string_view text) { return caseOf(kinds, text); }
std::optional<Alert::State> Alert::stateFrom(std::string_view text) { return caseOf(states, text); }

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
