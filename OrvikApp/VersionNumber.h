#pragma once

#include <compare>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace orvik {

/// A version such as "1.10.2", "2.0-beta.3" or "2.0rc1+45", in the order in which versions follow
/// each other: numbers by value, missing ones as zero, and a suffix before the version without it.
class VersionNumber {
 public:
  /// Nothing for a text that does not begin with a number, has other characters than ASCII
  /// letters, digits, dots, hyphens and plus signs, or is longer than 64 bytes. What follows a "+"
  /// tells builds of one version apart and does not count.
  [[nodiscard]] static std::optional<VersionNumber> parse(std::string_view text);

  friend std::strong_ordering operator<=>(const VersionNumber& left, const VersionNumber& right);
  friend bool operator==(const VersionNumber& left, const VersionNumber& right) {
    return (left <=> right) == std::strong_ordering::equal;
  }

 private:
  /// Digits without leading zeros, so that no number is too large; no zero at the end.
  std::vector<std::string> numbers;
  /// The words in lower case and the numbers of the suffix.
  std::vector<std::string> suffix;
};

}  // namespace orvik
