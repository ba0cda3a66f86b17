#include "phone/terminal/AlertLog.h"

#include <algorithm>
#include <array>
#include <ctime>
#include <functional>

#include "core/alerts/Alert.h"
#include "phone/terminal/Quantity.h"
#include "phone/terminal/Readings.h"

namespace orvik {

namespace {

/// As many as a relay keeps: after a break, no more can come again.
constexpr std::size_t knownAlerts = 20;
constexpr std::size_t shownAlerts = 5;

/// "82 %, 3 h 20 min left": what there is of the battery's readings, after a colon.
std::string charge(const Readings& alert) {
  std::string text;
  if (const auto percent = alert.number("value")) {
    text += ": " + decimal(*percent, 0) + " %";
  }
  if (const auto left = alert.integer("battery_min"); left && *left > 0) {
    text += (text.empty() ? ": " : ", ") + durationText(std::chrono::minutes(*left)) + " left";
  }
  return text;
}

std::string heat(const Readings& alert) {
  std::string text = "The processor is hot";
  if (const auto degrees = alert.number("value")) {
    text += ": " + decimal(*degrees, 1) + " °C";
  }
  if (const auto threshold = alert.integer("threshold")) {
    text += ", for a minute at " + std::to_string(*threshold) + " °C or more";
  }
  return text;
}

std::string fullness(const Readings& alert) {
  std::string text = "The disk is nearly full";
  if (const auto percent = alert.number("value")) {
    text += ": " + decimal(*percent, 1) + " % used";
  }
  if (const auto free = alert.integer("disk_free_gb")) {
    text += ", " + std::to_string(*free) + " GB free";
  }
  return text;
}

std::string overdueBackup(const Readings& alert) {
  std::string text = "No backup";
  if (const auto days = alert.number("value")) {
    text += " for " + decimal(*days, 0) + " days";
  }
  const auto disk = alert.text("backup_disk_name");
  if (const auto connected = alert.flag("backup_disk_connected"); disk && connected) {
    text += ", " + *disk + (*connected ? " is connected" : " is not connected");
  }
  return text;
}

}  // namespace

std::optional<std::string> alertText(const UntypedValue& content) {
  const Readings alert(&content);
  const auto kind = Alert::kindFrom(alert.text("kind").value_or(""));
  const auto state = Alert::stateFrom(alert.text("state").value_or(""));
  if (!kind || !state) {
    return std::nullopt;
  }
  const bool isRaised = *state == Alert::State::raised;
  switch (*kind) {
    case Alert::Kind::tempHigh:
      return isRaised ? heat(alert) : "The processor has cooled down";
    case Alert::Kind::diskFull:
      return isRaised ? fullness(alert) : "The disk has room again";
    case Alert::Kind::onBattery:
      return isRaised ? "Running on battery" + charge(alert) : "Back on mains power";
    case Alert::Kind::batteryLow:
      return isRaised ? "The battery is low" + charge(alert) : "The battery has charge again";
    case Alert::Kind::timeMachine:
      return isRaised ? overdueBackup(alert) : "Backed up again";
  }
  return std::nullopt;
}

std::string AlertLog::Entry::text(std::optional<std::int64_t> nowEpoch) const {
  constexpr std::int64_t halfADay = 43'200;
  const bool isOld = epoch && nowEpoch && *nowEpoch - *epoch >= halfADay;
  const std::time_t time = epoch.value_or(0);
  std::tm local{};
  std::array<char, 64> when{};
  const bool isKnown =
      epoch && localtime_r(&time, &local) != nullptr &&
      std::strftime(when.data(), when.size(), isOld ? "%Y-%m-%d %H:%M" : "%H:%M", &local) > 0;
  return (isKnown ? when.data() : "--:--") + ("  " + words);
}

bool AlertLog::isNew(const Payload& alert) {
  const Readings readings(&alert.content);
  const auto kind = readings.text("kind");
  const auto epoch = readings.integer("epoch_ms");
  const std::size_t hash =
      std::hash<std::string>()(kind && epoch ? *kind + " " + std::to_string(*epoch) : alert.text);
  if (std::ranges::find(known, hash) != known.end()) {
    return false;
  }
  known.push_front(hash);
  known.resize(std::min(known.size(), knownAlerts));
  return true;
}

bool AlertLog::take(const Payload& alert) {
  const auto words = alertText(alert.content);
  if (!words || !isNew(alert)) {
    return false;
  }

  const Readings readings(&alert.content);
  Entry entry{.kind = readings.text("kind").value_or(""),
              .epoch = readings.integer("epoch_ms"),
              .words = *words,
              .isRaised = readings.text("state") == Alert::text(Alert::State::raised)};
  if (entry.epoch) {
    *entry.epoch /= 1000;
  }
  if (!entry.isRaised) {
    for (Entry& earlier : shown) {
      earlier.isRaised = earlier.isRaised && earlier.kind != entry.kind;
    }
  }
  shown.push_front(std::move(entry));
  shown.resize(std::min(shown.size(), shownAlerts));
  return true;
}

}  // namespace orvik
