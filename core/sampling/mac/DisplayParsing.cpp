#include "core/sampling/mac/DisplayParsing.h"

#include <charconv>
#include <string_view>

#include "core/sampling/mac/ProfilerDocument.h"
#include "core/values/JSONMembers.h"
#include "core/values/NumberText.h"
#include "core/values/Text.h"

namespace orvik::ConnectionsParsing {

namespace {

constexpr std::string_view digits = "0123456789";

struct Size {
  std::int64_t width;
  std::int64_t height;
};

/// A number of at most 6 digits and above 0, which is the whole text.
std::optional<std::int64_t> extent(std::string_view text) {
  constexpr std::size_t mostDigits = 6;
  std::int64_t number = 0;
  if (text.size() > mostDigits) {
    return std::nullopt;
  }
  std::from_chars(text.data(), text.data() + text.size(), number);
  return number > 0 ? std::optional(number) : std::nullopt;
}

/// The first "2560 x 1600" in the text, with or without the blanks.
std::optional<Size> firstSize(std::string_view text) {
  for (std::size_t at = text.find('x'); at != std::string_view::npos; at = text.find('x', at + 1)) {
    const auto before = text.substr(0, at);
    const auto after = text.substr(at + 1);
    const std::size_t lastDigit = before.find_last_not_of(' ');
    const std::size_t firstDigit = after.find_first_not_of(' ');
    if (lastDigit == std::string_view::npos || firstDigit == std::string_view::npos) {
      continue;
    }
    const auto left = before.substr(0, lastDigit + 1);
    const auto right = after.substr(firstDigit);
    const std::size_t leftStart = left.find_last_not_of(digits) + 1;  // npos + 1 is the beginning
    const auto width = extent(left.substr(leftStart));
    const auto height = extent(right.substr(0, right.find_first_not_of(digits)));
    if (width && height) {
      return Size{*width, *height};
    }
  }
  return std::nullopt;
}

/// The rate in "1440 x 900 @ 60.00Hz". The mark for decimals is that of the Mac's language.
std::optional<double> rateIn(std::string_view text) {
  const std::size_t at = text.find('@');
  if (at == std::string_view::npos) {
    return std::nullopt;
  }
  const std::string_view rate = trimmed(text.substr(at + 1));
  std::string number(rate.substr(0, rate.find_first_not_of("0123456789.,")));
  if (const std::size_t comma = number.find(','); comma != std::string::npos) {
    number[comma] = '.';
  }
  const auto hertz = parseDouble(number);
  constexpr double most = 10'000;
  return hertz && *hertz > 0 && *hertz < most ? hertz : std::nullopt;
}

bool isBuiltIn(const UntypedValue& display) {
  return textMember(display, "spdisplays_connection_type") == "spdisplays_internal" ||
         textMember(display, "spdisplays_display_type")
             .value_or("")
             .starts_with("spdisplays_built-in");
}

std::optional<JSONValue> described(const UntypedValue& display) {
  std::optional<Size> size;
  std::optional<double> rate;
  // In this order: the panel's own pixels, which only displays with scaled modes tell as numbers;
  // the mode; and last what is drawn into, which may be larger than either.
  for (const char* key : {"spdisplays_pixelresolution", "_spdisplays_resolution",
                          "spdisplays_resolution", "_spdisplays_pixels"}) {
    const std::string text = textMember(display, key).value_or("");
    size = size ? size : firstSize(text);
    rate = rate ? rate : rateIn(text);
  }
  const auto name = textMember(display, "_name");
  if (!name || !size) {
    return std::nullopt;
  }
  return JSONObject{{"name", *name},
                    {"width", size->width},
                    {"height", size->height},
                    {"refresh_hz", orNull(rate)},
                    {"main", textMember(display, "spdisplays_main") == "spdisplays_yes"},
                    {"builtin", isBuiltIn(display)}};
}

}  // namespace

JSONValue displays(const UntypedValue& document) {
  JSONValue::Array found;
  for (const UntypedValue& processor : listMember(document, "SPDisplaysDataType")) {
    for (const UntypedValue& display : listMember(processor, "spdisplays_ndrvs")) {
      if (auto description = described(display)) {
        found.push_back(std::move(*description));
      }
    }
  }
  return found;
}

}  // namespace orvik::ConnectionsParsing
