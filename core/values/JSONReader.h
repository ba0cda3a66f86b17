#pragma once

#include <stdexcept>
#include <string_view>

#include "core/values/UntypedValue.h"

namespace orvik {

/// The text is not JSON.
class JSONError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// Nested deeper than this is refused: far above what any tool or relay sends, far below what
/// would exhaust a thread's stack.
inline constexpr std::size_t maximumNesting = 512;

/// More values than this are refused: a sample with a day's history has less than ten thousand, a
/// registry dump of 5 MB two hundred thousand. So many take up to half a second and 100 MB.
inline constexpr std::size_t maximumValues = 500'000;

/// Reads one JSON text. Strict: standard JSON in valid UTF-8, nothing after it. Numbers without
/// fraction and exponent that fit 64 bits are integers, all others the nearest double. Of a
/// repeated key the last value counts. Refuses what is nested deeper than maximumNesting or has
/// more than maximumValues. Throws JSONError.
[[nodiscard]] UntypedValue readJSON(std::string_view text);

/// The same for those who look for members in it, and find none in what is not JSON: null instead
/// of JSONError.
[[nodiscard]] UntypedValue readJSONOrNull(std::string_view text);

}  // namespace orvik
