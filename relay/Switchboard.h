#pragma once

#include <list>
#include <map>
#include <vector>

#include "relay/KeptAlerts.h"
#include "relay/Limits.h"
#include "relay/Peer.h"
#include "relay/Target.h"
#include "relay/TokenHash.h"

namespace orvik::relay {

/// Who owns which identifier, who is connected to it, and who is told what. The first Mac to
/// present a token for an identifier owns it for as long as the relay remembers it. What a Mac
/// sends while no phone is connected is lost, but its alerts wait for the first phone. Peers are
/// not owned; each is in here from its arrival until it is closed from here or has left.
class Switchboard {
 public:
  explicit Switchboard(const Limits& bounds) : limits(bounds), keptAlerts(limits) {}
  Switchboard(const Switchboard&) = delete;
  Switchboard& operator=(const Switchboard&) = delete;

  /// Puts a Mac in its place, and a Mac that was there out of it; lets in the phones that waited
  /// for it. Says whether the Mac is accepted; when not, it has been closed.
  [[nodiscard]] bool macArrived(const Identifier& identifier, const TokenHash& token, Peer& mac);
  /// Accepts a phone, or lets it wait when its Mac is not known yet. Says false when it has been
  /// closed instead.
  [[nodiscard]] bool phoneArrived(const Identifier& identifier, const TokenHash& token, Peer& phone,
                                  Instant now);
  /// Sends a Mac's message to all its phones; ignored from a Mac that has been replaced.
  void forward(const Identifier& identifier, const Peer& mac, const SharedText& message,
               Instant now);
  /// A phone is being looked at, or not any more.
  void setActive(const Identifier& identifier, const Peer& phone, bool active);
  /// A peer is gone. Harmless when it is not in here.
  void left(const Identifier& identifier, const Peer& peer);
  /// Sends away the phones, and drops the alerts, that have waited too long.
  void expire(Instant now);

 private:
  struct Phone {
    Peer* peer;
    bool active;
  };
  struct HeldPhone {
    Phone phone;
    TokenHash token;
    Instant until;
  };
  using IdleList = std::list<Identifier>;
  struct Record {
    TokenHash owner;
    /// Its place in `idle`; the end while somebody is connected.
    IdleList::iterator idlePlace;
    Peer* mac = nullptr;
    std::vector<Phone> phones{};
  };
  using Records = std::map<Identifier, Record>;

  /// A new record, or the end when there is no room.
  Records::iterator claim(const Identifier& identifier, const TokenHash& token);
  void releaseHeldPhones(Records::value_type& entry);
  void updateIdle(Records::value_type& entry);
  static void tellMac(const Record& record);
  static void tellPhones(const Record& record);

  const Limits limits;
  KeptAlerts keptAlerts;
  Records records;
  /// Records that nobody is connected to, the longest unused one first.
  IdleList idle;
  std::map<Identifier, std::vector<HeldPhone>> held;
  std::size_t heldCount = 0;
};

}  // namespace orvik::relay
