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
  /// When the alert came.
  Instant arrived{};
  int attempts = 0;
};

/// What waits to be pushed. Each origin has its own bounds, so that one that does not answer, or
/// that somebody has made up, takes no other's turn; and so has each Mac. What goes to one phone
/// goes one at a time and in order, without what a newer alert of its topic takes the place of: a
/// push service would let the one that comes last win.
class PushQueue {
 public:
  explicit PushQueue(const Limits& limits) : limits(limits) {}

  /// False when there is no room for it.
  [[nodiscard]] bool add(Push push);
  /// The next whose turn it is, which is under way from then on until `ended` or `again`.
  [[nodiscard]] std::optional<Push> next(Instant now);
  void ended(const Push& push, Instant now);
  /// Another attempt for one that was under way, unless a newer one has taken its place. Nothing
  /// goes to its phone before `due`.
  void again(Push push, Instant due);

  /// When there is one whose turn it is, should nothing end until then.
  [[nodiscard]] std::optional<Instant> nextDue() const;
  /// Those under way included.
  [[nodiscard]] std::size_t size() const noexcept { return all; }

 private:
  /// What goes to one phone.
  struct Line {
    std::deque<Push> waiting{};
    Instant due{};
    bool isUnderWay = false;
  };
  struct Origin {
    std::map<std::string, Line> lines{};
    /// Those of them that wait and have nothing under way.
    std::set<std::pair<Instant, std::string>> ready{};
    std::size_t count = 0;
    std::size_t underWay = 0;
  };
  using Origins = std::map<std::string, Origin>;

  /// The push leaves the queue.
  void uncount(Origin& origin, const Push& push);
  /// Its line has nothing under way any more.
  [[nodiscard]] Origins::iterator end(const Push& push, Instant due);
  void removeIfEmpty(Origins::iterator origin, const std::string& endpoint);
  [[nodiscard]] bool hasTurn(const Origin& origin) const;

  const Limits& limits;
  Origins origins;
  std::map<Identifier, std::size_t> macs;
  std::size_t all = 0;
  std::size_t underWay = 0;
  /// Whose turn it was last.
  std::string turn;
};

}  // namespace orvik::relay
