#pragma once

#include <charconv>
#include <concepts>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <system_error>

namespace orvik {

class UntypedValue;

/// A number rounded to `places` decimals through fixed-point text, so that every payload path
/// rounds alike: 2.675 gives 2.67, exact ties go to even (0.125 gives 0.12), the sign of zero
/// survives. A number that is not finite is returned unchanged. `places` below 0 counts as 0.
[[nodiscard]] double pyRound(double value, int places);

/// The number without its fraction; nothing when it is not finite or does not fit 64 bits.
[[nodiscard]] std::optional<std::int64_t> wholeNumber(double value) noexcept;

/// The text of an untyped value: a text as it is, a number other than zero in its shortest form
/// (3, 2.5), and empty text for everything else, zero included.
[[nodiscard]] std::string pyText(const UntypedValue& untyped);

/// The room that writeDoubleText needs.
inline constexpr std::size_t longestDoubleText = 32;

/// Writes the shortest decimal text that reads back to the same double, with a fractional part
/// when it is integral: plain from 0.0001 up to 2^53 (42.0), with an exponent of at least two
/// digits outside (1e-05); "null" when it is not finite. `to` has room for longestDoubleText
/// bytes; returns the end of the text.
char* writeDoubleText(double value, char* to) noexcept;

/// Reads decimal text (as JSON writes numbers) to the nearest double, whatever the locale is.
/// Nothing when the text is not wholly a number; a magnitude too large gives an infinity.
[[nodiscard]] std::optional<double> parseDouble(std::string_view text);

/// The integer that is the whole of the text; nothing when it is none or does not fit.
template <std::integral Integer>
[[nodiscard]] std::optional<Integer> parseInteger(std::string_view text, int base = 10) {
  Integer value = 0;
  const char* const end = text.data() + text.size();
  const auto read = std::from_chars(text.data(), end, value, base);
  return read.ec == std::errc() && read.ptr == end ? std::optional(value) : std::nullopt;
}

}  // namespace orvik
