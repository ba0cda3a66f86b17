#pragma once

#include <map>
#include <memory>
#include <optional>
#include <vector>

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
  /// When the alert came.
  Instant arrived{};
  int attempts = 0;
};

/// What waits to be pushed. Each service has its own bounds, so that one that does not answer takes
/// no other's turn.
class PushQueue {
 public:
  PushQueue(const Limits& limits, std::size_t services) : limits(limits), services(services) {}

  /// Not before `due`. False when there is no room for it.
  [[nodiscard]] bool add(Push push, Instant due);
  /// The next whose turn it is, which is under way from then on until `ended`.
  [[nodiscard]] std::optional<Push> next(Instant now);
  void ended(const Push& push) { --services.at(push.service).underWay; }

  /// When there is one whose turn it is, should nothing end until then.
  [[nodiscard]] std::optional<Instant> nextDue() const;
  /// Those under way included.
  [[nodiscard]] std::size_t size() const;

 private:
  struct Service {
    std::multimap<Instant, Push> waiting{};
    std::size_t underWay = 0;
  };

  const Limits& limits;
  std::vector<Service> services;
  /// Whose turn it is.
  std::size_t turn = 0;
};

}  // namespace orvik::relay
