#pragma once

#include <cstddef>
#include <deque>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>

#include "core/async/Clock.h"
#include "relay/Limits.h"
#include "relay/push/Pusher.h"

namespace orvik::relay {

/// One alert for one phone.
struct Push {
  std::shared_ptr<const PushedAlert> alert{};
  Subscription to{};
  /// Which of the push services it goes to.
  std::size_t service = 0;
  /// Of the subscription's endpoint.
  std::string origin{};
  /// Whether the operator's list has this very host, so that nobody can have made it up.
  bool isListed = true;
  /// When the alert came.
  Instant arrived{};
  int attempts = 0;
  /// When the last of these began.
  Instant began{};

  /// About what it takes while it waits.
  [[nodiscard]] std::size_t memory() const;
};

/// What waits to be pushed. Each origin has its own bounds, so that one that does not answer, or
/// that somebody has made up, takes no other's turn; and so has each Mac. What goes to one phone
/// goes one at a time and in order, without what a newer alert of its topic takes the place of: a
/// push service would let the one that comes last win. Anybody can name hosts that are below one of
/// the list and never answer: until an origin has answered, it has one request at once, and all of
/// these a share of their own.
class PushQueue {
 public:
  explicit PushQueue(const Limits& limits) : limits(limits) {}

  /// False when there is no room for it.
  [[nodiscard]] bool add(Push push);
  /// The next whose turn it is, which is under way from then on until `ended` or `again`.
  [[nodiscard]] std::optional<Push> next(Instant now);
  /// Of one that is under way: its origin has answered it, and may be asked again from then on.
  void answered(const Push& push, Instant now, Clock::Duration pause = {});
  /// Of one that is under way: nothing has answered it. If that is so of its origin, which may be
  /// made up, the others wait with it, longer each time; after as many times as one is tried they
  /// are given up: how many these are.
  [[nodiscard]] std::size_t unanswered(const Push& push, Instant now);
  void ended(const Push& push, Instant now);
  /// Another attempt for one that was under way, unless a newer one has taken its place. Nothing
  /// goes to its phone before `due`.
  void again(Push push, Instant due);
  /// Drops what waits for this phone of this Mac; what is under way is not tried again.
  void forget(const Identifier& mac, const std::string& origin, const std::string& endpoint);

  /// When there is one whose turn it is, should nothing end until then.
  [[nodiscard]] std::optional<Instant> nextDue() const;
  /// Those under way included.
  [[nodiscard]] std::size_t size() const noexcept { return all.waiting; }
  /// `Push::memory` of all of them.
  [[nodiscard]] std::size_t memory() const noexcept { return bytes; }

 private:
  /// What goes to one phone.
  struct Line {
    std::deque<Push> waiting{};
    Instant due{};
    bool isUnderWay = false;
    /// What is under way has been forgotten meanwhile.
    bool isForgotten = false;
    /// Whose alert is under way.
    Identifier mac{};
  };
  struct Share {
    /// Those under way included.
    std::size_t waiting = 0;
    std::size_t underWay = 0;
  };
  struct Origin {
    std::map<std::string, Line> lines{};
    /// Those of them that wait and have nothing under way.
    std::set<std::pair<Instant, std::string>> ready{};
    Share share{};
    bool isListed = false;
    /// It has answered, and not failed to since.
    bool isProven = false;
    /// How often in a row it has not answered.
    int silences = 0;
    Instant answered{};
    Instant notBefore{};

    [[nodiscard]] bool mayBeMadeUp() const { return !isListed && !isProven; }
  };
  using Origins = std::map<std::string, Origin>;

  /// When it may have its next turn; nothing when it has to wait for the end of another.
  [[nodiscard]] std::optional<Instant> turnOf(const Origin& origin) const;
  void setProven(Origins::iterator origin, bool isProven);
  void enter(Origin& origin, std::size_t Share::*what);
  void leave(Origin& origin, std::size_t Share::*what);
  /// Drops the waiting pushes of a line that these words are true of, and says how many.
  template <typename Condition>
  std::size_t drop(Origin& origin, Line& line, Condition condition);
  /// The push leaves the queue.
  void uncount(Origin& origin, const Push& push);
  /// Its line has nothing under way any more.
  [[nodiscard]] Origins::iterator end(const Push& push, Instant due);
  void removeIfEmpty(Origins::iterator origin, const std::string& endpoint);

  const Limits& limits;
  Origins origins;
  std::map<Identifier, std::size_t> macs;
  Share all;
  /// Of the origins that may be made up.
  Share unproven;
  std::size_t bytes = 0;
  /// Origins that are not in the list and have answered, also when nothing waits for them.
  std::set<std::string> proven;
  /// Whose turn it was last.
  std::string turn;
};

}  // namespace orvik::relay
