#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "core/values/JSONValue.h"

namespace orvik::ConnectionsParsing {

/// A mounted volume that a person would browse.
struct Volume {
  std::string name;
  std::int64_t sizeBytes = 0;
  std::int64_t freeBytes = 0;
  /// How it is attached ("USB"); nothing when unknown.
  std::optional<std::string> protocol;
  /// The name of the medium that it lives on, which tells the USB device that carries it. Empty
  /// when unknown. Not part of the JSON value.
  std::string media;
  bool isTimeMachine = false;

  [[nodiscard]] JSONValue json() const;
  bool operator==(const Volume&) const = default;
};

}  // namespace orvik::ConnectionsParsing

namespace orvik {

/// "disk_pct" (per cent used, 1 decimal) and "disk_free_gb" (10^9 bytes, nearest, ties to even) of
/// a file system of `total` bytes with `free` bytes for the user; empty when `total` is below 1.
[[nodiscard]] JSONObject diskFields(double total, double free);

}  // namespace orvik
