#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "core/alerts/Alert.h"
#include "core/values/JSONValue.h"

namespace orvik {

/// Decides, sample by sample, what the phone is to be told: the processor is hot for a minute, the
/// disk is nearly full, mains power has gone or come back, the battery is low, no backup for 30
/// days. An alert fires once and is armed again only when the reading has clearly recovered, and
/// at most once in 30 minutes. A plain value; all of it is kept between runs, so that a restart
/// does not repeat an alert, nor forget what an alert depends on.
///
/// Times are those of the samples and may be anything: what would not fit 64 bits stops at their
/// limits, which decides every comparison as the true figure would.
struct AlertEngine {
  using TimesByKind = std::map<std::string, std::int64_t, std::less<>>;

  explicit AlertEngine(std::optional<TimeMachineReminder> reminder = std::nullopt)
      : timeMachineReminder(reminder) {}

  /// Whether the alert may fire.
  bool tempArmed = true;
  bool diskArmed = true;
  bool lowBatteryArmed = true;
  /// Mains power in the last sample that told.
  std::optional<bool> lastOnAc;
  /// When the present run of high temperatures began, milliseconds since 1970.
  std::optional<std::int64_t> tempHighSince;
  /// The last sample with a temperature, milliseconds since 1970.
  std::optional<std::int64_t> lastTempMs;
  /// When each kind was last raised, milliseconds since 1970, by the text of the kind.
  std::optional<TimesByKind> lastRaised;
  /// The alert about an overdue backup that has not been cleared.
  std::optional<TimeMachineReminder> timeMachineReminder;

  /// Takes one sample and returns the alerts that it gives: temperature, disk, mains, low battery,
  /// backup, in this order. A member that is missing or of another type skips the rules that need
  /// it; a sample without a valid "epoch" changes nothing.
  [[nodiscard]] std::vector<Alert> evaluate(const JSONObject& sample,
                                            const AlertSettings& settings);

  /// Forgets the times that lie behind this one: a clock that was ahead when they were taken has
  /// been put right, and what is limited by them would stay silent until it is that late again. A
  /// reminder that was given at such a time can still be cleared.
  void forgetTimesAfter(std::int64_t nowMs);

  /// The stored form: an object with the fields under their names, absent ones left out.
  [[nodiscard]] JSONValue json() const;
  /// Nothing when one of the three arming flags is missing or any member has the wrong type, null
  /// included; unknown members are ignored.
  [[nodiscard]] static std::optional<AlertEngine> from(const JSONValue& json);

  bool operator==(const AlertEngine&) const = default;

 private:
  void temperature(const JSONObject& sample, std::int64_t nowMs, const AlertSettings& settings,
                   std::vector<Alert>& out);
  void disk(const JSONObject& sample, std::int64_t nowMs, const AlertSettings& settings,
            std::vector<Alert>& out);
  void mains(const JSONObject& sample, std::int64_t nowMs, const AlertSettings& settings,
             std::vector<Alert>& out);
  void lowBattery(const JSONObject& sample, std::int64_t nowMs, const AlertSettings& settings,
                  std::vector<Alert>& out);
  void timeMachine(const JSONObject& sample, std::int64_t epoch, std::int64_t nowMs,
                   const AlertSettings& settings, std::vector<Alert>& out);
  /// Whether 30 minutes have passed since this kind was raised; if so, records that it is raised
  /// now. Comes last among the conditions of a rule: a refused alert stays armed.
  bool mayRaise(Alert::Kind kind, std::int64_t nowMs);
};

}  // namespace orvik
