#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "core/values/JSONValue.h"

namespace orvik {

/// Something that needs the user's attention, or no longer does.
struct Alert {
  enum class Kind { tempHigh, diskFull, onBattery, batteryLow, timeMachine };
  enum class State { raised, cleared };

  Kind kind;
  State state;
  /// What was measured: °C, per cent of disk, per cent of battery, or days since the last backup.
  std::optional<double> value = {};
  /// Time of the sample, milliseconds since 1970.
  std::int64_t epochMs = 0;
  /// The threshold that was crossed: temperature and disk alerts only.
  std::optional<std::int64_t> threshold = {};
  /// Whole gigabytes: disk alerts only.
  std::optional<std::int64_t> diskFreeGb = {};
  /// Estimated minutes left: battery alerts only.
  std::optional<std::int64_t> batteryMin = {};
  /// Last backup, seconds since 1970.
  std::optional<std::int64_t> backupEpoch = {};
  std::optional<std::string> backupDiskName = {};
  std::optional<bool> backupDiskConnected = {};

  /// The texts that stand for kinds and states in JSON: "temp_high", "cleared".
  [[nodiscard]] static std::string_view text(Kind kind);
  [[nodiscard]] static std::string_view text(State state);
  /// The reverse, to the letter; nothing for any other text.
  [[nodiscard]] static std::optional<Kind> kindFrom(std::string_view text);
  [[nodiscard]] static std::optional<State> stateFrom(std::string_view text);

  /// The record as an object. What is absent is left out, and so is a value that is not finite:
  /// JSON has no text for it.
  [[nodiscard]] JSONValue json() const;
  /// Reads such an object. Nothing when a member that is needed is missing or any has the wrong
  /// type, null included; unknown members are ignored.
  [[nodiscard]] static std::optional<Alert> from(const JSONValue& json);

  bool operator==(const Alert&) const = default;
};

/// When an alert is due, and which are wanted. Hot processors and full disks cannot be switched
/// off.
struct AlertSettings {
  /// Processor temperature, °C.
  std::int64_t tempC = 95;
  /// Disk use, per cent.
  std::int64_t diskPct = 90;
  /// Whether to announce the change from mains to battery, a low battery, an overdue backup.
  bool onBattery = true;
  bool batteryLow = true;
  bool timeMachine = true;

  bool operator==(const AlertSettings&) const = default;
};

/// What is remembered of an alert about an overdue backup, so that the same backup is not
/// announced again and again.
struct TimeMachineReminder {
  /// When the alert was raised, seconds since 1970.
  std::int64_t at = 0;
  /// The last backup that it was about, seconds since 1970.
  std::int64_t backup = 0;

  [[nodiscard]] JSONValue json() const;
  /// Nothing when this is not an object with both members as integers.
  [[nodiscard]] static std::optional<TimeMachineReminder> from(const JSONValue& json);

  bool operator==(const TimeMachineReminder&) const = default;
};

}  // namespace orvik
