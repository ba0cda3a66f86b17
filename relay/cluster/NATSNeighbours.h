#pragma once

#include <atomic>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>

#include "core/async/Clock.h"
#include "relay/Limits.h"
#include "relay/cluster/NATSConnection.h"
#include "relay/cluster/Neighbours.h"

namespace orvik::relay {

/// The other relays that use the same engine of NATS: what is told about an identifier goes over a
/// subject of its own, which only those hear who have joined it. Each relay gives signs of life,
/// with a number that rises by 1: where one is missing, other words may be, too, and the relay
/// counts as gone and heard again.
class NATSNeighbours final : public Neighbours, private NATSConnection::Receiver {
 public:
  /// Told what an operator has to know, in one line.
  using Log = std::function<void(const std::string&)>;

  struct Settings {
    NATSConnection::Settings connection;
    /// What all subjects begin with.
    std::string name = "orvik";
    /// The public key that this relay pushes with, which phones have subscribed for; empty where it
    /// pushes nothing.
    std::string pushKey{};
  };
  struct State {
    NATSConnection::State connection;
    /// Other relays that live.
    std::size_t relays = 0;
  };

  /// Connects soon. The listener is called on threads of this one, one call after the other, waits
  /// for nothing, and outlives it, as `limits` do. Throws std::runtime_error like the connection's
  /// settings.
  NATSNeighbours(Settings settings, const Limits& limits, std::shared_ptr<Clock> clock,
                 NeighbourListener& listener, Log log);

  [[nodiscard]] RelayID self() const noexcept override { return id; }
  void join(const Identifier& identifier) override;
  void leave(const Identifier& identifier) override;
  void tell(const Identifier& identifier, std::string_view message) override;

  [[nodiscard]] State state() const;

 private:
  struct Relay {
    Instant heard;
    /// The number of its last sign of life since it was gone.
    std::optional<std::uint64_t> sign{};
    bool isGone = false;
  };

  void connected() override;
  void lost(const std::string& why) override;
  void received(std::string_view subject, std::string_view data, bool isUnheard) override;
  void tick() override;

  [[nodiscard]] std::string trialSubject() const;
  [[nodiscard]] std::string subjectOf(const Identifier& identifier) const;
  void sign();
  /// Whether the relay is one to be listened to.
  bool noteLife(RelayID relay, std::optional<std::uint64_t> sign);
  void comparePushKey(std::string_view sign);
  /// Forgets a relay that has gone, where there are too many.
  [[nodiscard]] bool makeRoom();

  const Settings settings;
  const Limits& limits;
  const std::shared_ptr<Clock> clock;
  NeighbourListener& listener;
  const Log log;
  const RelayID id;
  const std::string signature;

  /// Held while the listener is told, so that it hears everything in order.
  mutable std::mutex mutex;
  std::map<RelayID, Relay> relays;
  bool isConnected = false;
  bool wasLogged = false;
  bool wasKeyLogged = false;
  bool wasRefused = false;
  Instant nextSign;
  std::uint64_t signs = 0;
  /// Something could not be sent since the last sign of life.
  std::atomic<bool> isAnythingLost = false;

  NATSConnection connection;
};

}  // namespace orvik::relay
