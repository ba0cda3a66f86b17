#include "core/alerts/AlertEngine.h"

#include <limits>

#include "core/values/JSONMembers.h"

namespace orvik {

namespace {

/// How long it must be hot, and how long a gap between two readings may be, in milliseconds.
constexpr std::int64_t hotRun = 60'000;
/// How far a reading must fall below its threshold before the alert is armed again.
constexpr double tempBand = 5;
constexpr double diskBand = 2;
/// Per cent of charge: low at most here, armed again from there on.
constexpr std::int64_t lowCharge = 14;
constexpr std::int64_t recoveredCharge = 20;
/// Between two alerts of one kind: 30 minutes in milliseconds.
constexpr std::int64_t quietTime = 1'800'000;
/// A backup is overdue at this age, and announced again after as long: 30 days in seconds.
constexpr std::int64_t daySeconds = 86'400;
constexpr std::int64_t overdueAge = 30 * daySeconds;

using Limits = std::numeric_limits<std::int64_t>;

/// The time from one moment to another, at most what fits.
std::int64_t elapsed(std::int64_t from, std::int64_t to) {
  std::int64_t difference = 0;
  if (__builtin_sub_overflow(to, from, &difference)) {
    return from < 0 ? Limits::max() : Limits::min();
  }
  return difference;
}

std::int64_t millisecondsOf(std::int64_t seconds) {
  constexpr std::int64_t perSecond = 1000;
  return seconds > Limits::max() / perSecond ? Limits::max() : seconds * perSecond;
}

}  // namespace

std::vector<Alert> AlertEngine::evaluate(const JSONObject& sample, const AlertSettings& settings) {
  std::vector<Alert> out;
  const auto epoch = member<std::int64_t>(sample, "epoch");
  if (!epoch || *epoch < 1) {
    return out;
  }
  const std::int64_t nowMs =
      member<std::int64_t>(sample, "epoch_ms").value_or(millisecondsOf(*epoch));
  temperature(sample, nowMs, settings, out);
  disk(sample, nowMs, settings, out);
  mains(sample, nowMs, settings, out);
  lowBattery(sample, nowMs, settings, out);
  timeMachine(sample, *epoch, nowMs, settings, out);
  return out;
}

void AlertEngine::temperature(const JSONObject& sample, std::int64_t nowMs,
                              const AlertSettings& settings, std::vector<Alert>& out) {
  const auto measured = numberMember(sample, "temp_cpu");
  if (!measured) {
    return;
  }
  const auto limit = static_cast<double>(settings.tempC);
  if (*measured >= limit) {
    const bool goesOn = tempHighSince && lastTempMs && elapsed(*lastTempMs, nowMs) <= hotRun;
    const std::int64_t since = goesOn ? *tempHighSince : nowMs;
    tempHighSince = since;
    if (tempArmed && elapsed(since, nowMs) >= hotRun && mayRaise(Alert::Kind::tempHigh, nowMs)) {
      tempArmed = false;
      out.push_back({.kind = Alert::Kind::tempHigh,
                     .state = Alert::State::raised,
                     .value = measured,
                     .epochMs = nowMs,
                     .threshold = settings.tempC});
    }
  } else {
    tempHighSince.reset();
    if (*measured < limit - tempBand) {
      tempArmed = true;
    }
  }
  lastTempMs = nowMs;
}

void AlertEngine::disk(const JSONObject& sample, std::int64_t nowMs, const AlertSettings& settings,
                       std::vector<Alert>& out) {
  const auto used = numberMember(sample, "disk_pct");
  if (!used) {
    return;
  }
  const auto limit = static_cast<double>(settings.diskPct);
  if (*used >= limit) {
    if (diskArmed && mayRaise(Alert::Kind::diskFull, nowMs)) {
      diskArmed = false;
      out.push_back({.kind = Alert::Kind::diskFull,
                     .state = Alert::State::raised,
                     .value = used,
                     .epochMs = nowMs,
                     .threshold = settings.diskPct,
                     .diskFreeGb = member<std::int64_t>(sample, "disk_free_gb")});
    }
  } else if (*used < limit - diskBand) {
    diskArmed = true;
  }
}

void AlertEngine::mains(const JSONObject& sample, std::int64_t nowMs, const AlertSettings& settings,
                        std::vector<Alert>& out) {
  const auto onAc = member<bool>(sample, "on_ac");
  if (!onAc) {
    return;
  }
  // Neither counts against the 30 minutes: every unplugging is announced. Coming back is told even
  // when leaving is not, so that a phone that still shows "on battery" is put right.
  if (lastOnAc == true && !*onAc && settings.onBattery) {
    out.push_back({.kind = Alert::Kind::onBattery,
                   .state = Alert::State::raised,
                   .value = member<std::int64_t>(sample, "battery_pct"),
                   .epochMs = nowMs,
                   .batteryMin = member<std::int64_t>(sample, "battery_min")});
  } else if (lastOnAc == false && *onAc) {
    out.push_back(
        {.kind = Alert::Kind::onBattery, .state = Alert::State::cleared, .epochMs = nowMs});
  }
  lastOnAc = onAc;
}

void AlertEngine::lowBattery(const JSONObject& sample, std::int64_t nowMs,
                             const AlertSettings& settings, std::vector<Alert>& out) {
  const auto charge = member<std::int64_t>(sample, "battery_pct");
  if (!charge) {
    return;
  }
  // The present state only: one of an earlier sample may no longer be true.
  const bool isOnBattery = member<bool>(sample, "on_ac") == false;
  if (*charge <= lowCharge && isOnBattery) {
    if (lowBatteryArmed && settings.batteryLow && mayRaise(Alert::Kind::batteryLow, nowMs)) {
      lowBatteryArmed = false;
      out.push_back({.kind = Alert::Kind::batteryLow,
                     .state = Alert::State::raised,
                     .value = static_cast<double>(*charge),
                     .epochMs = nowMs,
                     .batteryMin = member<std::int64_t>(sample, "battery_min")});
    }
  } else if (*charge >= recoveredCharge) {
    lowBatteryArmed = true;
  }
}

void AlertEngine::timeMachine(const JSONObject& sample, std::int64_t epoch, std::int64_t nowMs,
                              const AlertSettings& settings, std::vector<Alert>& out) {
  const auto last = member<std::int64_t>(sample, "tm_last_backup");
  if (!last) {
    return;
  }
  const std::int64_t age = elapsed(*last, epoch);
  if (age < overdueAge) {
    if (timeMachineReminder) {
      timeMachineReminder.reset();
      out.push_back(
          {.kind = Alert::Kind::timeMachine, .state = Alert::State::cleared, .epochMs = nowMs});
    }
    return;
  }
  const bool isRunning = member<bool>(sample, "tm_running") == true;
  const bool isReminded = timeMachineReminder && timeMachineReminder->backup == *last &&
                          elapsed(timeMachineReminder->at, epoch) < overdueAge;
  if (isRunning || !settings.timeMachine || isReminded) {
    return;
  }
  const std::int64_t days = age / daySeconds;
  timeMachineReminder = TimeMachineReminder{.at = epoch, .backup = *last};
  out.push_back({.kind = Alert::Kind::timeMachine,
                 .state = Alert::State::raised,
                 .value = static_cast<double>(days),
                 .epochMs = nowMs,
                 .backupEpoch = last,
                 .backupDiskName = member<std::string>(sample, "tm_disk_name"),
                 .backupDiskConnected = member<bool>(sample, "tm_disk_connected").value_or(false)});
}

bool AlertEngine::mayRaise(Alert::Kind kind, std::int64_t nowMs) {
  const std::string_view key = Alert::text(kind);
  if (!lastRaised) {
    lastRaised.emplace();
  }
  const auto found = lastRaised->find(key);
  if (found == lastRaised->end()) {
    lastRaised->emplace(key, nowMs);
    return true;
  }
  if (elapsed(found->second, nowMs) < quietTime) {
    return false;
  }
  found->second = nowMs;
  return true;
}

void AlertEngine::forgetTimesAfter(std::int64_t nowMs) {
  if (lastTempMs > nowMs || tempHighSince > nowMs) {
    lastTempMs.reset();
    tempHighSince.reset();
  }
  if (lastRaised) {
    std::erase_if(*lastRaised, [nowMs](const auto& raised) { return raised.second > nowMs; });
  }
  if (timeMachineReminder && millisecondsOf(timeMachineReminder->at) > nowMs) {
    timeMachineReminder->at = 0;
  }
}

JSONValue AlertEngine::json() const {
  JSONObject object{
      {"tempArmed", tempArmed}, {"diskArmed", diskArmed}, {"lowBatteryArmed", lowBatteryArmed}};
  setIfPresent(object, "lastOnAc", lastOnAc);
  setIfPresent(object, "tempHighSince", tempHighSince);
  setIfPresent(object, "lastTempMs", lastTempMs);
  if (lastRaised) {
    JSONObject times;
    for (const auto& [kind, time] : *lastRaised) {
      times.set(kind, time);
    }
    object.set("lastRaised", std::move(times));
  }
  if (timeMachineReminder) {
    object.set("timeMachineReminder", timeMachineReminder->json());
  }
  return object;
}

std::optional<AlertEngine> AlertEngine::from(const JSONValue& json) {
  const auto* object = json.get<JSONObject>();
  AlertEngine engine;
  if (object == nullptr || !readMember(*object, "tempArmed", engine.tempArmed) ||
      !readMember(*object, "diskArmed", engine.diskArmed) ||
      !readMember(*object, "lowBatteryArmed", engine.lowBatteryArmed) ||
      !readMember(*object, "lastOnAc", engine.lastOnAc) ||
      !readMember(*object, "tempHighSince", engine.tempHighSince) ||
      !readMember(*object, "lastTempMs", engine.lastTempMs)) {
    return std::nullopt;
  }
  std::optional<JSONObject> times;
  if (!readMember(*object, "lastRaised", times)) {
    return std::nullopt;
  }
  if (times) {
    engine.lastRaised.emplace();
    for (const auto& [kind, time] : *times) {
      const auto* milliseconds = time.get<std::int64_t>();
      if (milliseconds == nullptr) {
        return std::nullopt;
      }
      engine.lastRaised->emplace(kind, *milliseconds);
    }
  }
  if (const JSONValue* reminder = object->find("timeMachineReminder")) {
    engine.timeMachineReminder = TimeMachineReminder::from(*reminder);
    if (!engine.timeMachineReminder) {
      return std::nullopt;
    }
  }
  return engine;
}

}  // namespace orvik
