#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "relay/Limits.h"
#include "relay/Peer.h"
#include "relay/Target.h"
#include "relay/TokenHash.h"
#include "relay/push/Subscription.h"

namespace orvik::relay {

/// A sealed alert that a Mac has sent.
struct KeptAlert {
  /// Rises with each alert of a Mac, not always by 1. Below 2^53, so that a phone may read it as a
  /// double.
  std::uint64_t number = 0;
  /// Unix seconds.
  std::int64_t keptAt = 0;
  SharedText envelope;
};

/// What is known of an identifier.
struct Record {
  TokenHash owner;
  /// No number above this has been given to an alert of this Mac.
  std::uint64_t lastNumber = 0;
  /// Alerts up to this number have reached a phone.
  std::uint64_t takenNumber = 0;
  /// Oldest first, none older than the store keeps them.
  std::vector<KeptAlert> alerts{};
  /// Where alerts are pushed to.
  std::vector<Subscription> subscriptions{};

  /// Drops what is older than it is kept, and all alerts but the newest that may be.
  void trim(const Limits& limits, std::int64_t unixNow);
};

/// The first number that may be given out from this time on, Unix seconds. Numbers that a lost
/// store has given do not come again: no Mac sends a hundred thousand alerts in a second.
[[nodiscard]] std::uint64_t firstNumber(std::int64_t unixSeconds) noexcept;

/// Nobody has claimed the identifier.
struct NoRecord {};
/// The store cannot tell at present.
struct StoreUnavailable {};
using Found = std::variant<NoRecord, Record, StoreUnavailable>;
/// What holds now, or nothing when the store cannot tell.
using Claimed = std::optional<Record>;

/// How long the answers of one operation took, from the question to the answer.
struct AnswerTimes {
  /// Upper bounds in seconds; what took longer is counted behind the last.
  static constexpr std::array bounds{0.0005, 0.001, 0.002, 0.005, 0.01, 0.02,
                                     0.05,   0.1,   0.2,   0.5,   1.0};
  std::array<std::uint64_t, bounds.size() + 1> counts{};
  double totalSeconds = 0;

  void add(double seconds) noexcept;
};

/// For metrics, /readyz and the log.
struct StoreState {
  /// What the store can do. The text of each is `text(health)`.
  enum class Health { available, opening, full, readOnly, locked, unknownFormat, failing };
  Health health = Health::available;
  /// Why it is not available, in words, where the health alone does not say it.
  std::string why{};
  /// Questions that wait for an answer, and how many may.
  std::size_t queued = 0;
  std::size_t mostQueued = 0;
  /// Questions that found the queue full.
  std::uint64_t refused = 0;
  /// Files that were found damaged and moved aside since the start.
  std::uint64_t damagedFiles = 0;
  /// Subscriptions that are kept; nothing where nobody counts them.
  std::optional<std::uint64_t> subscriptions{};
  AnswerTimes find;
  AnswerTimes claim;
  AnswerTimes keep;

  [[nodiscard]] bool isAvailable() const noexcept { return health == Health::available; }
};

/// A word for a metric's label or the log: "available", "full", "read_only" …
[[nodiscard]] std::string_view text(StoreState::Health health) noexcept;

/// What outlives the relay, or at least its connections: the owners of identifiers and the alerts
/// that are kept. All operations may be called from any thread and return at once. Answers come in
/// the order of the questions of one thread about one identifier, on the store's own thread, or
/// before the call returns: whoever asks posts them to where it belongs. They come until the store
/// has been destroyed, which therefore happens before what they are posted to.
class RecordStore {
 public:
  virtual ~RecordStore() = default;

  /// Asks what is known of an identifier, and counts as a use of it.
  virtual void find(const Identifier& identifier, std::function<void(Found)> then) = 0;
  /// Makes a token the owner of an identifier that has none. Answers after the commit.
  virtual void claim(const Identifier& identifier, const TokenHash& token,
                     std::function<void(Claimed)> then) = 0;
  /// Keeps an alert, in the order of their numbers, and no more than the newest of each Mac. A
  /// store that has been lost meanwhile learns the owner anew. Answers after the commit, with
  /// whether the alert is safe; whatever the reason, one that is not may be tried again.
  virtual void keep(const Identifier& identifier, const TokenHash& owner, KeptAlert alert,
                    std::function<void(bool isSafe)> then) = 0;
  /// Has an identifier of this owner be nobody's from now on, so that no token is its owner's, and
  /// removes what is kept of it. Answers after the commit, with whether it is so; one that is not
  /// may be tried again.
  virtual void revoke(const Identifier& identifier, const TokenHash& owner,
                      std::function<void(bool isRevoked)> then) = 0;
  /// Notes that the alerts up to this number have reached a phone. Without an answer: what is lost
  /// of this is told a phone once more.
  virtual void markTaken(const Identifier& identifier, std::uint64_t number) = 0;

  /// Keeps a subscription, in place of one with the same endpoint. A store that has been lost
  /// meanwhile learns the owner anew. Answers after the commit; whoever asks has counted them.
  virtual void subscribe(const Identifier& identifier, const TokenHash& owner,
                         Subscription subscription, std::function<void(bool isKept)> then) = 0;
  /// Forgets a subscription. Without an answer: a push service says it again.
  virtual void unsubscribe(const Identifier& identifier, const std::string& endpoint) = 0;

  /// Whether what it keeps outlives the process, so that it may be called safe.
  [[nodiscard]] virtual bool isDurable() const noexcept = 0;
  [[nodiscard]] virtual StoreState state() const = 0;
};

}  // namespace orvik::relay
