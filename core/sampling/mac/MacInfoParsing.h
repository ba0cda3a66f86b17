#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

/// From what the Mac says of itself to the members of "mac_info". Pure functions.
namespace orvik::MacInfoParsing {

struct Frequencies {
  std::optional<std::int64_t> performance;
  std::optional<std::int64_t> efficiency;
  bool operator==(const Frequencies&) const = default;
};
/// The top frequencies in MHz, from a line that macmon wrote with --soc-info.
[[nodiscard]] Frequencies maxMHz(std::string_view macmonLine);

/// A text property of the device tree: up to the first zero byte, trimmed. Nothing when empty.
[[nodiscard]] std::optional<std::string> deviceTreeString(std::string_view bytes);

/// One performance level of the processor, the fastest first.
struct PerformanceLevel {
  /// As the system names it, perhaps empty.
  std::string name;
  std::int64_t physicalCPUs;
};
struct Cores {
  std::int64_t performance = 0;
  std::int64_t efficiency = 0;
  bool operator==(const Cores&) const = default;
};
[[nodiscard]] Cores cores(const std::vector<PerformanceLevel>& levels);

/// The major, minor and patch number of a version; the later ones may be missing. Nothing for any
/// other text.
[[nodiscard]] std::optional<std::array<std::int64_t, 3>> versionParts(std::string_view text);

/// "14.2.1", "14.0".
[[nodiscard]] std::string version(std::int64_t major, std::int64_t minor, std::int64_t patch);

}  // namespace orvik::MacInfoParsing
