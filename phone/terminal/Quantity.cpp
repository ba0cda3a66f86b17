#include "phone/terminal/Quantity.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>

namespace orvik {

std::string decimal(double value, int places) {
  // 309 digits is the longest that a double's integral part can be.
  std::array<char, 400> buffer{};
  const int length = std::snprintf(buffer.data(), buffer.size(), "%.*f", places, value);
  return {buffer.data(), static_cast<std::size_t>(length)};
}

std::string durationText(std::chrono::minutes duration) {
  constexpr std::int64_t perHour = 60;
  constexpr std::int64_t perDay = 24 * perHour;
  const std::int64_t minutes = duration.count();
  if (minutes >= perDay) {
    return std::to_string(minutes / perDay) + " d " + std::to_string(minutes % perDay / perHour) +
           " h";
  }
  if (minutes >= perHour) {
    const std::string rest = std::to_string(minutes % perHour);
    return std::to_string(minutes / perHour) + " h " + (rest.size() < 2 ? "0" : "") + rest + " min";
  }
  return std::to_string(minutes) + " min";
}

std::string byteCountText(std::int64_t bytes) {
  const auto count = static_cast<double>(bytes);
  if (count >= 1e12) {
    return decimal(count / 1e12, 2) + " TB";
  }
  return count >= 1e9 ? decimal(count / 1e9, 1) + " GB" : decimal(count / 1e6, 0) + " MB";
}

std::string bar(double percent, int columns) {
  const int filled = static_cast<int>(std::lround(std::clamp(percent, 0.0, 100.0) / 100 * columns));
  std::string out;
  for (int column = 0; column < columns; ++column) {
    out += column < filled ? "█" : "░";
  }
  return out;
}

std::string sparkline(std::span<const std::optional<double>> values, double low, double high) {
  constexpr std::array levels = {"▁", "▂", "▃", "▄", "▅", "▆", "▇", "█"};
  // A curve without a range is drawn at its bottom.
  const double range = high > low ? high - low : 1;
  std::string out;
  for (const std::optional<double>& value : values) {
    if (value) {
      const double share = std::clamp((*value - low) / range, 0.0, 1.0);
      out += levels.at(static_cast<std::size_t>(std::lround(share * (levels.size() - 1))));
    } else {
      out += ' ';
    }
  }
  return out;
}

}  // namespace orvik
