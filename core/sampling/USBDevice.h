#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "core/values/JSONValue.h"

namespace orvik::ConnectionsParsing {

/// Labels of the link speeds, by the code under "Device Speed".
inline constexpr std::array<std::string_view, 6> usbSpeeds = {
    // The comma is what phones know this speed by.
    "1,5 Mb/s", "12 Mb/s", "480 Mb/s", "5 Gb/s", "10 Gb/s", "20 Gb/s"};

struct USBKind {
  std::int64_t classCode;
  std::string_view kind;
};
/// The kinds that a USB class code tells; all others are "other".
inline constexpr std::array<USBKind, 7> usbKinds = {{{1, "audio"},
                                                     {3, "keyboard"},
                                                     {6, "camera"},
                                                     {7, "printer"},
                                                     {8, "storage"},
                                                     {14, "camera"},
                                                     {17, "adapter"}}};

/// The kind of a class code; nothing when it tells none.
[[nodiscard]] std::optional<std::string_view> kindOfUSBClass(std::optional<std::int64_t> code);

struct USBDevice {
  /// "?" when none is known.
  std::string name;
  std::optional<std::string> maker;
  /// One of usbSpeeds.
  std::optional<std::string> speed;
  /// One of usbKinds, or "other".
  std::string kind;
  /// The device carries a mounted volume, of this name. Set by linkVolumes.
  bool storage = false;
  std::optional<std::string> volume;

  [[nodiscard]] JSONValue json() const;
  bool operator==(const USBDevice&) const = default;
};

}  // namespace orvik::ConnectionsParsing
