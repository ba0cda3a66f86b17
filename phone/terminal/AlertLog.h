#pragma once

#include <cstdint>
#include <deque>
#include <optional>
#include <string>

#include "phone/terminal/PhoneObserver.h"

namespace orvik {

/// What an alert says, in words: "The disk is nearly full: 91.5 % used". Nothing when it is
/// of a kind that this program does not know.
[[nodiscard]] std::optional<std::string> alertText(const UntypedValue& alert);

/// The latest alerts of a computer, newest first.
class AlertLog {
 public:
  struct Entry {
    std::string kind;
    /// Seconds since 1970.
    std::optional<std::int64_t> epoch;
    std::string words;
    /// Something is wrong, and nothing has come yet that says otherwise.
    bool isRaised = false;

    /// When it happened (local "HH:mm"; from half a day before `nowEpoch` on with its date), and
    /// what.
    [[nodiscard]] std::string text(std::optional<std::int64_t> nowEpoch) const;
  };

  /// Notes an alert. False when one of its kind and time is among the last 20 already: a link that
  /// breaks at the wrong moment, or a relay that has begun to count anew, brings an alert twice.
  [[nodiscard]] bool isNew(const Payload& alert);
  /// Takes in an alert. False when there is nothing to show: it is not new, or its kind is not
  /// known.
  [[nodiscard]] bool take(const Payload& alert);

  /// At most 5, of kinds that are known.
  [[nodiscard]] const std::deque<Entry>& entries() const noexcept { return shown; }

 private:
  /// Hashes of the alerts that have come, newest first.
  std::deque<std::size_t> known;
  std::deque<Entry> shown;
};

}  // namespace orvik
