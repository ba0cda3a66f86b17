#include "core/sampling/linux/DisplayReader.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <optional>
#include <string_view>
#include <vector>

#include "core/sampling/linux/EDID.h"
#include "core/system/linux/TextFile.h"
#include "core/values/JSONMembers.h"
#include "core/values/Text.h"

namespace orvik {

namespace {

/// A base block and 255 extensions.
constexpr std::size_t edidLimit = std::size_t{256} * 128;

/// Connectors for panels inside of a machine.
constexpr std::array<std::string_view, 4> builtinConnectors{"eDP-", "LVDS-", "DSI-", "DPI-"};

struct Size {
  int width = 0;
  int height = 0;
};

struct Display {
  std::string name;
  std::optional<Size> size;
  std::optional<double> refreshHz;
  bool isBuiltin = false;
  /// It shows a picture; the panel of a closed laptop does not.
  bool isEnabled = false;
};

/// "1920x1080", with an "i" behind it when interlaced.
std::optional<Size> parseMode(std::string_view text) {
  Size size;
  const char* const end = text.data() + text.size();
  const auto width = std::from_chars(text.data(), end, size.width);
  if (width.ec != std::errc{} || width.ptr == end || *width.ptr != 'x' ||
      std::from_chars(width.ptr + 1, end, size.height).ec != std::errc{} || size.width <= 0 ||
      size.height <= 0) {
    return std::nullopt;
  }
  return size;
}

std::string nameOf(const std::string& connector, const std::optional<EDID>& edid, bool isBuiltin) {
  if (edid && edid->name) {
    return *edid->name;
  }
  if (isBuiltin) {
    return "Built-in display";
  }
  return edid ? edid->product : repairedUTF8(connector);
}

/// `connector` without its card: "HDMI-A-1".
Display readDisplay(const std::string& folder, const std::string& connector) {
  const std::string bytes = readText(folder + "/edid", edidLimit).value_or("");
  const std::optional<EDID> edid = parseEDID(bytesOf(bytes));
  const auto mode = edid ? edid->preferred : std::nullopt;
  const bool isBuiltin = std::ranges::any_of(
      builtinConnectors, [&](std::string_view prefix) { return connector.starts_with(prefix); });
  Display display{.name = nameOf(connector, edid, isBuiltin),
                  .size = parseMode(readLine(folder + "/modes")),
                  .refreshHz = std::nullopt,
                  .isBuiltin = isBuiltin,
                  .isEnabled = readLine(folder + "/enabled") == "enabled"};
  if (!display.size && mode) {
    display.size = Size{.width = mode->width, .height = mode->height};
  }
  // The kernel's list begins with the preferred mode too, and also knows the extensions, which
  // large displays need: only when both mean the same mode is its rate known.
  if (display.size && mode && display.size->width == mode->width &&
      display.size->height == mode->height) {
    display.refreshHz = mode->refreshHz;
  }
  return display;
}

/// Sorts the display that a person would call the main one first.
auto rank(const Display& display) { return std::pair(!display.isEnabled, !display.isBuiltin); }

}  // namespace

JSONValue readDisplays(const std::string& root) {
  const std::string folder = root + "/sys/class/drm/";
  std::vector<Display> displays;
  for (const std::string& name : namesIn(folder)) {
    const std::size_t dash = name.find('-');
    if (name.starts_with("card") && dash != std::string::npos &&
        readLine(folder + name + "/status") == "connected") {
      displays.push_back(readDisplay(folder + name, name.substr(dash + 1)));
    }
  }
  const auto main = std::ranges::min_element(displays, {}, rank);
  JSONValue::Array array;
  for (auto display = displays.begin(); display != displays.end(); ++display) {
    const auto& size = display->size;
    array.emplace_back(JSONObject{{"name", display->name},
                                  {"width", size ? JSONValue(size->width) : JSONValue()},
                                  {"height", size ? JSONValue(size->height) : JSONValue()},
                                  {"refresh_hz", orNull(display->refreshHz)},
                                  {"main", display == main},
                                  {"builtin", display->isBuiltin}});
  }
  return array;
}

}  // namespace orvik
