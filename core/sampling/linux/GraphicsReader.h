#pragma once

#include <optional>
#include <string>
#include <vector>

#include "core/sampling/linux/CounterRate.h"
#include "core/sampling/linux/HardwareMonitor.h"

namespace orvik {

/// The graphics processors: temperature, use and power, as far as their drivers export them.
class GraphicsReader {
 public:
  struct Reading {
    /// Whether all of them are switched off; nothing when no graphics processor is known.
    std::optional<bool> isOff;
    /// °C, the mean of those that are on.
    std::optional<double> temperature;
    /// Per cent, of the busiest.
    std::optional<double> use;
    /// Watts of those with a power supply of their own.
    std::optional<double> watts;
    /// Watts of the whole chip that a processor and its graphics are one of.
    std::optional<double> chipWatts;
  };

  explicit GraphicsReader(std::string root) : root(std::move(root)) {}

  /// Looks which there are now. Before it, there are none.
  void rescan();
  /// One that is switched off is not asked, which could wake it: it has no temperature, and its
  /// use and power are 0.
  [[nodiscard]] Reading read(const MonotonicTime& now);

 private:
  struct Card {
    TextFile runtimeStatus;
    std::optional<TextFile> temperature = {};
    std::optional<TextFile> busyPercent = {};
    /// Milliseconds without work, for drivers that do not tell how busy it is.
    std::optional<TextFile> idleTime = {};
    CounterRate idleRate;
    std::optional<TextFile> microwatts = {};
    std::optional<TextFile> microjoules = {};
    CounterRate energyRate;
    bool isPartOfProcessor = false;
  };

  [[nodiscard]] static Card cardOf(const HardwareMonitor& monitor);
  [[nodiscard]] static std::optional<double> readUse(Card& card, bool isOff,
                                                     const MonotonicTime& now);
  [[nodiscard]] static std::optional<double> readWatts(Card& card, bool isOff,
                                                       const MonotonicTime& now);

  std::string root;
  std::vector<HardwareMonitor> found;
  std::vector<Card> cards;
};

}  // namespace orvik
