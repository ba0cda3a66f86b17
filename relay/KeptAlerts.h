#pragma once

#include <list>
#include <map>
#include <vector>

#include "relay/Limits.h"
#include "relay/Peer.h"
#include "relay/Target.h"

namespace orvik::relay {

/// Sealed alerts of Macs that no phone is connected to, until the first one comes: the newest few
/// of each Mac, for a limited time. When all of them together take too much memory, the oldest go
/// first.
class KeptAlerts {
 public:
  explicit KeptAlerts(const Limits& limits) : limits(limits) {}

  /// Keeps the message if it is an alert and no longer than one can be.
  void keep(const Identifier& identifier, const SharedText& message, Instant now);
  /// Gives a Mac's alerts away, oldest first.
  [[nodiscard]] std::vector<SharedText> take(const Identifier& identifier, Instant now);
  /// Drops a Mac's alerts: it has another owner now.
  void forget(const Identifier& identifier);
  /// Drops what has been kept for too long.
  void expire(Instant now);

 private:
  struct Kept {
    Identifier identifier;
    SharedText alert;
    Instant until;
  };
  using List = std::list<Kept>;

  void drop(List::iterator kept);

  const Limits& limits;
  /// All of them, oldest first; and those of each Mac.
  List all;
  std::map<Identifier, std::list<List::iterator>> ofMac;
  std::size_t bytes = 0;
};

}  // namespace orvik::relay
