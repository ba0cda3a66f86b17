#pragma once

#include <string>

#include "core/values/JSONValue.h"

namespace orvik {

/// The displays that are connected to the machine's graphics cards.
class DisplayReader {
 public:
  /// Reads below `root`.
  explicit DisplayReader(std::string root) : root(std::move(root)) {}

  /// An array of objects in the order of the connectors: "name", "width" and "height" in pixels
  /// and "refresh_hz" (each null when unknown), "main", "builtin". Width, height and refresh rate
  /// are those that the display prefers; the kernel does not tell which ones it is used with.
  [[nodiscard]] JSONValue read() const;

 private:
  std::string root;
};

}  // namespace orvik
