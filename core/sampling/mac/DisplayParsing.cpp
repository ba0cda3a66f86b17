#include "core/sampling/mac/DisplayParsing.h"

#include <algorithm>
#include <array>
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
  const auto number = text.size() <= mostDigits ? parseInteger<std::int64_t>(text) : std::nullopt;
  return number && *number > 0 ? number : std::nullopt;
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

/// The panel's pixels: "spdisplays_2560x1600Retina", or for sizes that have a name
/// "spdisplays_2160p".
std::optional<Size> panelSize(std::string_view text) {
  struct Named {
    std::string_view name;
    Size size;
  };
  static constexpr auto known = std::to_array<Named>(
      {{"720p", {1280, 720}},    {"1080i", {1920, 1080}}, {"1080p", {1920, 1080}},
       {"1440p", {2560, 1440}},  {"2160p", {3840, 2160}}, {"2880p", {5120, 2880}},
       {"4320p", {7680, 4320}},  {"4k", {3840, 2160}},    {"5k", {5120, 2880}},
       {"6k", {6016, 3384}},     {"8k", {7680, 4320}},    {"hd", {1280, 720}},
       {"fhd", {1920, 1080}},    {"qhd", {2560, 1440}},   {"wqhd", {2560, 1440}},
       {"uwqhd", {3440, 1440}},  {"uhd", {3840, 2160}},   {"xga", {1024, 768}},
       {"wxga", {1280, 800}},    {"sxga", {1280, 1024}},  {"uxga", {1600, 1200}},
       {"wsxga+", {1680, 1050}}, {"wuxga", {1920, 1200}}, {"wqxga", {2560, 1600}}});
  const std::size_t prefix = text.find('_');
  const std::string name =
      lowercased(prefix == std::string_view::npos ? text : text.substr(prefix + 1));
  const auto* const named = std::ranges::find(known, std::string_view(name), &Named::name);
  return named == known.end() ? firstSize(text) : std::optional(named->size);
}

/// What is drawn for a display, in pixels, which it may show scaled down. What is wider than any
/// panel that Macs are made for is, and then the points of the mode are nearer to the panel.
std::optional<Size> drawnSize(const UntypedValue& display, std::optional<Size> mode) {
  constexpr std::int64_t widestPanel = 6016;
  const auto drawn = firstSize(textMember(display, "_spdisplays_pixels").value_or(""));
  return drawn && (drawn->width <= widestPanel || !mode) ? drawn : mode;
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

std::optional<JSONValue> describedDisplay(const UntypedValue& display) {
  std::optional<Size> mode;
  std::optional<double> rate;
  for (const char* key : {"_spdisplays_resolution", "spdisplays_resolution"}) {
    const std::string text = textMember(display, key).value_or("");
    mode = mode ? mode : firstSize(text);
    rate = rate ? rate : rateIn(text);
  }
  auto size = panelSize(textMember(display, "spdisplays_pixelresolution").value_or(""));
  size = size ? size : drawnSize(display, mode);
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
      if (auto description = describedDisplay(display)) {
        found.push_back(std::move(*description));
      }
    }
  }
  return found;
}

}  // namespace orvik::ConnectionsParsing
