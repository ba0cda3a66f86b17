#pragma once

#include <string>
#include <vector>

#include "relay/FramedText.h"
#include "relay/Target.h"
#include "relay/push/Subscription.h"

namespace orvik::relay {

/// A sealed alert on its way to phones that are not connected.
struct PushedAlert {
  Identifier mac{};
  std::uint64_t number = 0;
  SharedText envelope{};
  /// The newest with the same one takes the place of those that have not been delivered; empty
  /// where the computer names none.
  std::string topic{};
  bool isUrgent = true;
};

/// Takes alerts to phones by way of their push services. Called on any thread; returns at once.
class Pusher {
 public:
  virtual ~Pusher() = default;

  /// What phones subscribe for, in base64url.
  [[nodiscard]] virtual const std::string& publicKey() const = 0;
  /// Whether it would push there.
  [[nodiscard]] virtual bool serves(const Subscription& subscription) const = 0;
  virtual void push(const PushedAlert& alert, const std::vector<Subscription>& to) = 0;
  /// Nothing more of this Mac's alerts goes there, but what has been sent already.
  virtual void forget(const Identifier& mac, const std::string& endpoint) = 0;
  /// Pushes that were left out because a computer has sent too many alerts.
  virtual void leftOut(std::size_t count) = 0;
};

}  // namespace orvik::relay
