#pragma once

#include <string>

namespace orvik {

/// One line for the terminal: fit to be shown, without any styling of its own.
struct ViewLine {
  /// Emphasised where the terminal can: a name or a label, with the blanks that follow it.
  std::string heading;
  std::string body;
  /// The body reports trouble.
  bool attention = false;

  bool operator==(const ViewLine&) const = default;
};

}  // namespace orvik
