#include "core/values/NumberText.h"

#include <clocale>
#include <cstdlib>
#if __has_include(<xlocale.h>)
#include <xlocale.h>
#endif

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <cstdint>

#include "core/values/UntypedValue.h"

namespace orvik {

namespace {

/// Up to here every integer is a double of its own; larger numbers are written with an exponent.
constexpr double largestPlain = 9007199254740992.0;
constexpr double smallestPlain = 0.0001;

/// Digits without a leading or trailing zero, and the power of ten of the first one.
struct Decimal {
  std::string_view digits;
  int exponent;
};

char* copy(std::string_view text, char* to) { return std::ranges::copy(text, to).out; }

char* writePlain(const Decimal& decimal, char* to) {
  const auto count = static_cast<int>(decimal.digits.size());
  if (decimal.exponent < 0) {
    to = copy("0.", to);
    to = std::fill_n(to, -decimal.exponent - 1, '0');
    return copy(decimal.digits, to);
  }
  const int whole = decimal.exponent + 1;
  if (count <= whole) {
    to = copy(decimal.digits, to);
    to = std::fill_n(to, whole - count, '0');
    return copy(".0", to);
  }
  to = copy(decimal.digits.substr(0, static_cast<std::size_t>(whole)), to);
  *to++ = '.';
  return copy(decimal.digits.substr(static_cast<std::size_t>(whole)), to);
}

char* writeWithExponent(const Decimal& decimal, char* to) {
  *to++ = decimal.digits.front();
  if (decimal.digits.size() > 1) {
    *to++ = '.';
    to = copy(decimal.digits.substr(1), to);
  }
  *to++ = 'e';
  *to++ = decimal.exponent < 0 ? '-' : '+';
  const int magnitude = std::abs(decimal.exponent);
  if (magnitude < 10) {
    *to++ = '0';
  }
  constexpr int mostDigits = 3;
  return std::to_chars(to, to + mostDigits, magnitude).ptr;
}

/// Writes a number of at most two decimals and 15 digits, which is what payloads are full of.
/// Decimals of up to 15 digits and doubles correspond one to one, so the text that is found this
/// way is the shortest one. Null when the number is of another kind.
char* writeHundredths(double magnitude, char* to) {
  constexpr double limit = 1e13;
  if (magnitude >= limit) {
    return nullptr;
  }
  // Where this rounds wrongly the division below does not lead back, and the slower way is taken.
  // NOLINTNEXTLINE(bugprone-incorrect-roundings)
  const auto hundredths = static_cast<std::uint64_t>(magnitude * 100.0 + 0.5);
  if (static_cast<double>(hundredths) / 100.0 != magnitude) {
    return nullptr;
  }
  to = std::to_chars(to, to + longestDoubleText, hundredths / 100).ptr;
  const auto fraction = static_cast<unsigned>(hundredths % 100);
  *to++ = '.';
  *to++ = static_cast<char>('0' + fraction / 10);
  if (fraction % 10 != 0) {
    *to++ = static_cast<char>('0' + fraction % 10);
  }
  return to;
}

locale_t classicLocale() {
  static locale_t locale = newlocale(LC_ALL_MASK, "C", nullptr);
  return locale;
}

}  // namespace

char* writeDoubleText(double value, char* to) noexcept {
  if (!std::isfinite(value)) {
    return copy("null", to);
  }
  if (std::signbit(value)) {
    *to++ = '-';
  }
  const double magnitude = std::fabs(value);
  if (char* const end = writeHundredths(magnitude, to)) {
    return end;
  }
  // Scientific text is d.ddde±xx: the digits and the exponent are taken from it.
  std::array<char, longestDoubleText> scientific{};
  const auto written = std::to_chars(scientific.data(), scientific.data() + scientific.size(),
                                     magnitude, std::chars_format::scientific);
  auto* const exponentMark = std::find(scientific.data(), written.ptr, 'e');
  std::array<char, longestDoubleText> digits{};
  auto* digitsEnd = std::remove_copy(scientific.data(), exponentMark, digits.data(), '.');
  int exponent = 0;
  std::from_chars(exponentMark + (exponentMark[1] == '+' ? 2 : 1), written.ptr, exponent);
  const Decimal decimal{{digits.data(), static_cast<std::size_t>(digitsEnd - digits.data())},
                        exponent};
  const bool isPlain = magnitude >= smallestPlain && magnitude <= largestPlain;
  return isPlain ? writePlain(decimal, to) : writeWithExponent(decimal, to);
}

std::optional<double> parseDouble(std::string_view text) {
  constexpr std::string_view allowed = "0123456789+-.eE";
  if (text.empty() || text.find_first_not_of(allowed) != std::string_view::npos) {
    return std::nullopt;
  }
  const std::string terminated(text);
  char* end = nullptr;
  const double value = strtod_l(terminated.c_str(), &end, classicLocale());
  if (end != terminated.c_str() + terminated.size()) {
    return std::nullopt;
  }
  return value;
}

double pyRound(double value, int places) {
  if (!std::isfinite(value)) {
    return value;
  }
  // No double has more than 309 digits before the point, nor more than 1074 behind it.
  constexpr int mostPlaces = 1074;
  std::array<char, 309 + mostPlaces + 8> buffer{};
  const auto result = std::to_chars(buffer.data(), buffer.data() + buffer.size(), value,
                                    std::chars_format::fixed, std::clamp(places, 0, mostPlaces));
  const std::string_view text(buffer.data(), static_cast<std::size_t>(result.ptr - buffer.data()));
  return parseDouble(text).value_or(value);
}

std::optional<std::int64_t> wholeNumber(double value) noexcept {
  constexpr double limit = 9223372036854775808.0;
  // Also false of what is not a number.
  if (!(value >= -limit && value < limit)) {
    return std::nullopt;
  }
  return static_cast<std::int64_t>(value);
}

std::string pyText(const UntypedValue& untyped) {
  if (const auto* text = untyped.get<std::string>()) {
    return *text;
  }
  if (const auto* integer = untyped.get<std::int64_t>(); integer != nullptr && *integer != 0) {
    return std::to_string(*integer);
  }
  if (const auto* integer = untyped.get<std::uint64_t>()) {
    return std::to_string(*integer);
  }
  if (const auto* number = untyped.get<double>(); number != nullptr && *number != 0.0) {
    if (!std::isfinite(*number)) {
      return std::isnan(*number) ? "nan" : *number > 0 ? "inf" : "-inf";
    }
    std::array<char, longestDoubleText> buffer{};
    std::string text(buffer.data(), writeDoubleText(*number, buffer.data()));
    if (text.ends_with(".0")) {
      text.resize(text.size() - 2);
    }
    return text;
  }
  if (const auto* boolean = untyped.get<bool>(); boolean != nullptr && *boolean) {
    return "1";
  }
  return {};
}

}  // namespace orvik
