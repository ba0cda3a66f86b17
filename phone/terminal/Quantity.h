#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <span>
#include <string>

namespace orvik {

/// Fixed-point text of a finite number: decimal(41.26, 1) is "41.3".
[[nodiscard]] std::string decimal(double value, int places);

/// A length of time in its two largest units: "12 min", "1 h 05 min", "3 d 4 h".
[[nodiscard]] std::string durationText(std::chrono::minutes duration);

/// A storage size in units of powers of ten, as the makers of disks count: "512.1 GB".
[[nodiscard]] std::string byteCountText(std::int64_t bytes);

/// A horizontal bar of block characters, filled to a percentage; outside of 0 to 100 it is empty
/// or full.
[[nodiscard]] std::string bar(double percent, int columns);

/// A curve in one line of block characters, one column for each value from `low` to `high`; a
/// missing value is a blank.
[[nodiscard]] std::string sparkline(std::span<const std::optional<double>> values, double low,
                                    double high);

}  // namespace orvik
