#pragma once

#include <optional>
#include <string>

#include "core/values/Bytes.h"

namespace orvik {

/// What a display says of itself (VESA Enhanced EDID 1.4).
struct EDID {
  struct Mode {
    int width = 0;
    int height = 0;
    double refreshHz = 0;
    bool operator==(const Mode&) const = default;
  };

  /// Its name, valid UTF-8; not every display has one.
  std::optional<std::string> name;
  /// The maker's three letters and the product's number: "DEL A0B2".
  std::string product;
  /// What it is best used with.
  std::optional<Mode> preferred;

  bool operator==(const EDID&) const = default;
};

/// Reads the base block; extensions are not looked at. Nothing when it is too short, has the wrong
/// header or a wrong checksum.
[[nodiscard]] std::optional<EDID> parseEDID(ByteView bytes);

}  // namespace orvik
