#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace orvik {

/// Something that needs the user's attention, or no longer does.
struct Alert {
  enum class Kind { tempHigh, diskFull, onBattery, batteryLow, timeMachine };
  enum class State { raised, cleared };

  Kind kind;
  State state;
  /// What was measured: °C, per cent of disk, per cent of battery, or days since the last backup.
  std::optional<double> value;
  /// Time of the sample, milliseconds since 1970.
  std::int64_t epochMs = 0;
  /// The threshold that was crossed: temperature and disk alerts only.
  std::optional<std::int64_t> threshold;
  /// Whole gigabytes: disk alerts only.
  std::optional<std::int64_t> diskFreeGb;
  /// Estimated minutes left: battery alerts only.
  std::optional<std::int64_t> batteryMin;
  /// Last backup, seconds since 1970.
  std::optional<std::int64_t> backupEpoch;
  std::optional<std::string> backupDiskName;
  std::optional<bool> backupDiskConnected;

  bool operator==(const Alert&) const = default;
};

}  // namespace orvik
