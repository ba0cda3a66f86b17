#pragma once

#include <array>
#include <chrono>
#include <cstdint>
#include <map>
#include <optional>
#include <utility>
#include <vector>

#include "core/values/UntypedValue.h"

namespace orvik {

/// The last 24 hours, minute by minute, as far as the phone knows them: what the computer sent
/// when the phone joined, continued with the live samples since then.
class MinuteCurves {
 public:
  enum class Curve : std::size_t { cpu, temperature, power };

  /// Takes the minutes of a "history" object; its minutes replace those known.
  void addHistory(const UntypedValue& history);

  /// Adds a live sample to the mean of its minute. The sample's minute is the newest from now on:
  /// later ones go, since the computer's clock has been set back.
  void addSample(const UntypedValue& sample);

  /// From the oldest known minute to the newest, both included; 0 when none is known.
  [[nodiscard]] std::chrono::minutes span() const;

  /// The least and the greatest minute of a curve: percent, °C or watts.
  [[nodiscard]] std::optional<std::pair<double, double>> range(Curve curve) const;

  /// The curve in at most `count` equal steps of the span, oldest first, each the mean of its
  /// minutes.
  [[nodiscard]] std::vector<std::optional<double>> steps(Curve curve, std::size_t count) const;

 private:
  struct Mean {
    double sum = 0;
    int count = 0;
    void add(double value);
    [[nodiscard]] std::optional<double> value() const;
  };
  using Minute = std::array<Mean, 3>;

  [[nodiscard]] static const Mean& of(const Minute& minute, Curve curve);
  void dropBefore(std::int64_t newestMinute);

  /// By minute number: Unix time in seconds ÷ 60.
  std::map<std::int64_t, Minute> minutes;
};

}  // namespace orvik
