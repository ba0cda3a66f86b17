#pragma once

#include <array>
#include <cstdint>
#include <deque>
#include <optional>
#include <vector>

#include "core/values/JSONValue.h"

namespace orvik {

/// The last 24 hours of processor load, temperature and power, averaged per wall-clock minute, so
/// that a phone that joins can draw the curves at once. Lives in memory only.
class MinuteHistory {
 public:
  /// How far back it reaches, in minutes.
  static constexpr std::int64_t span = 1440;

  /// One finished minute. A value is absent when no sample of that minute had it.
  struct Point {
    /// Epoch seconds ÷ 60.
    std::int64_t minute = 0;
    /// Mean load in per cent, mean temperature in °C, mean power in W.
    std::optional<double> cpu;
    std::optional<double> temp;
    std::optional<double> watts;
    bool operator==(const Point&) const = default;
  };

  /// Takes "cpu_pct", "temp_cpu" and "power_w" of a sample into the minute of its "epoch". A
  /// sample without a valid time or without any of the three is ignored; one that is late counts
  /// into the minute that is open.
  void add(const JSONObject& sample);

  /// Forgets the minutes that a clock which was ahead has recorded and that are still to come:
  /// everything until then would count as late.
  void forgetAfter(std::int64_t nowEpoch);

  /// The complete minutes before the current one, oldest first: at most span - 1.
  [[nodiscard]] std::vector<Point> points(std::int64_t nowEpoch) const;

  /// The same as a compact object: "t0" the epoch second of the first minute, "dm" the distance
  /// of each minute from the one before, "cpu", "temp" and "w" the values or null. Nothing when
  /// there is no point.
  [[nodiscard]] std::optional<JSONValue> json(std::int64_t nowEpoch) const;

  bool operator==(const MinuteHistory&) const = default;

 private:
  static constexpr std::size_t quantityCount = 3;
  using Quantities = std::array<std::optional<double>, quantityCount>;

  /// The minute that is being collected.
  struct Bucket {
    std::int64_t minute = 0;
    std::array<double, quantityCount> sums{};
    std::array<std::int64_t, quantityCount> counts{};

    void add(const Quantities& values);
    [[nodiscard]] Point point() const;
    bool operator==(const Bucket&) const = default;
  };

  void trim(std::int64_t nowMinute);

  std::deque<Point> closed;
  std::optional<Bucket> open;
};

}  // namespace orvik
