#pragma once

#include <deque>
#include <optional>
#include <string>

#include "core/values/UntypedValue.h"

namespace orvik {

/// What an alert says, in words: "Disk nearly full: 91.5 % used, 43 GB free". Nothing when it is
/// of a kind that this program does not know.
[[nodiscard]] std::optional<std::string> alertText(const UntypedValue& alert);

/// The latest alerts of a computer, newest first.
class AlertLog {
 public:
  struct Entry {
    /// When it happened, local "HH:mm", and what.
    std::string text;
    /// Something is wrong; otherwise it has become right again.
    bool isRaised = false;
  };

  /// Takes in an alert. False when it is known already: a link that breaks at the wrong moment
  /// brings an alert twice.
  [[nodiscard]] bool take(const UntypedValue& alert);

  /// At most 5, of kinds that are known.
  [[nodiscard]] const std::deque<Entry>& entries() const noexcept { return shown; }

 private:
  std::deque<UntypedValue> known;
  std::deque<Entry> shown;
};

}  // namespace orvik
