#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "core/values/JSONValue.h"
#include "core/values/UntypedValue.h"

/// What is connected to the machine: volumes, USB and Bluetooth devices, displays. Pure functions
/// that take the parsed documents of the Mac's tools, broken ones included; what is unknown or
/// malformed is skipped member by member.
namespace orvik::ConnectionsParsing {

/// A mounted volume that a person would browse.
struct Volume {
  std::string name;
  std::int64_t sizeBytes = 0;
  std::int64_t freeBytes = 0;
  /// How it is attached ("USB"); nothing when unknown.
  std::optional<std::string> protocol;
  /// The medium that it lives on; tells which USB device carries it.
  std::string media;
  bool isTimeMachine = false;

  [[nodiscard]] JSONValue json() const;
  bool operator==(const Volume&) const = default;
};

struct USBDevice {
  /// "?" when none is known.
  std::string name;
  std::optional<std::string> maker;
  /// Label of the link speed.
  std::optional<std::string> speed;
  /// "audio", "keyboard", "camera", "printer", "storage", "adapter" or "other".
  std::string kind;
  /// The device carries a mounted volume, of this name.
  bool storage = false;
  std::optional<std::string> volume;

  [[nodiscard]] JSONValue json() const;
  bool operator==(const USBDevice&) const = default;
};

}  // namespace orvik::ConnectionsParsing
