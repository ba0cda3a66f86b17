#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace orvik {

/// How a pattern is read, beyond ICU's defaults.
enum class RegexOptions {
  none,
  /// ^ and $ match at every line.
  anchorsMatchLines,
};

/// The texts of the first match of an ICU pattern over the whole text: the match, then each group
/// (empty when a group took no part). Nothing when the pattern does not compile (or is longer than
/// 4096 bytes) or match, or when matching exceeds its bounds of about half a second and 8 MB.
/// `text` is UTF-8; what is ill-formed in it is read as U+FFFD. Compiled patterns are kept. May be
/// called from any thread.
[[nodiscard]] std::optional<std::vector<std::string>> firstMatch(
    std::string_view text, std::string_view pattern, RegexOptions options = RegexOptions::none);

/// The first group of the first match; nothing when there is no match or the pattern has no group.
[[nodiscard]] std::optional<std::string> firstGroup(std::string_view text, std::string_view pattern,
                                                    RegexOptions options = RegexOptions::none);

/// The text as a part of a pattern that matches just this text.
[[nodiscard]] std::string escapedForPattern(std::string_view text);

}  // namespace orvik
