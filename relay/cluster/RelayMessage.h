#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "relay/ClientMessage.h"
#include "relay/Limits.h"

namespace orvik::relay {

/// Whom of one identifier a relay serves, as a whole each time: a later one takes the place of an
/// earlier one, and an empty one says that it serves nobody any more.
struct Standing {
  struct Mac {
    /// One more for each arrival of a Mac, and never more than this.
    static constexpr std::uint64_t highestEpoch = std::uint64_t{1} << 32U;

    /// The highest stays. Above 0.
    std::uint64_t epoch = 0;
    /// Since its arrival, milliseconds.
    std::uint64_t age = 0;
    /// All alerts up to this number are in the store, or given up.
    std::uint64_t safe = 0;

    bool operator==(const Mac&) const = default;
  };
  /// No relay takes more phones of one Mac than this, whatever its limits.
  static constexpr std::uint32_t mostPhones = 1000;
  static constexpr std::size_t mostLooking = 64;

  std::optional<Mac> mac{};
  /// Accepted phones, and how many of them are being looked at.
  std::uint32_t phones = 0;
  std::uint32_t active = 0;
  /// `endpointKey` of the subscriptions of those that are.
  std::vector<std::string> looking{};
  /// The highest number of an alert that it has heard of, and the highest that a phone has.
  std::uint64_t last = 0;
  std::uint64_t taken = 0;
  /// It has just come: the others say theirs.
  bool asks = false;

  [[nodiscard]] bool isEmpty() const { return !mac && phones == 0; }
  bool operator==(const Standing&) const = default;
};

/// What a Mac has sent to all its phones.
struct ToldEnvelope {
  std::string_view text;

  bool operator==(const ToldEnvelope&) const = default;
};

/// An alert of a Mac, with its number.
struct ToldAlert {
  std::uint64_t number = 0;
  /// Whoever has all alerts up to this number misses none before this one.
  std::uint64_t after = 0;
  /// Unix seconds.
  std::int64_t keptAt = 0;
  AlertMark mark{};
  std::string_view envelope{};
  /// The relay that had its Mac, and pushes it.
  std::uint64_t by = 0;

  bool operator==(const ToldAlert&) const = default;
};

/// Asks the relay with the Mac for the alerts after a number.
struct AlertsMissed {
  std::uint64_t after = 0;

  bool operator==(const AlertsMissed&) const = default;
};

/// The store's record has another owner or other subscriptions. What they are is believed to the
/// store alone.
struct RecordChanged {
  bool operator==(const RecordChanged&) const = default;
};

/// What a relay tells the others that serve the same identifier: members of JSON, and where there
/// is an envelope a line feed and the envelope as it is.
struct RelayMessage {
  /// Bytes: before the line feed, and in all.
  static constexpr std::size_t longestHead = 4 * Limits::kibibyte;
  static constexpr std::size_t longest = longestHead + 1 + Limits().macMessage;

  std::variant<Standing, ToldEnvelope, ToldAlert, AlertsMissed, RecordChanged> said;

  /// Nothing when the text is anything else, or not UTF-8; unknown members count as absent. What it
  /// gives refers to the text.
  [[nodiscard]] static std::optional<RelayMessage> in(std::string_view text);
  [[nodiscard]] std::string text() const;
  /// Whether a text is an envelope alone: the next one makes up for it when it is lost.
  [[nodiscard]] static bool isEnvelope(std::string_view text) noexcept {
    return text.starts_with('\n');
  }

  bool operator==(const RelayMessage&) const = default;
};

/// A name of 22 characters for an endpoint, which itself says how to push there.
[[nodiscard]] std::string endpointKey(std::string_view endpoint);

}  // namespace orvik::relay
