#pragma once

#include <boost/asio/any_io_executor.hpp>

#include <array>
#include <optional>

#include "OrvikApp/RelayLink.h"
#include "core/client/RelayClient.h"
#include "core/client/RelayEndpoint.h"
#include "core/pairing/PairingKeeper.h"

namespace orvik {

/// The queues of the links to come: what waits when a link ends, since the machine sleeps or the
/// user has paused, is for the next link's phones, unless those have been disconnected meanwhile.
class WaitingAlerts {
 public:
  /// The queue of the link before when that had the same pairing, otherwise a new one.
  [[nodiscard]] std::shared_ptr<AlertQueue> of(const Pairing& pairing);

 private:
  std::optional<std::array<std::uint8_t, Pairing::macIdSize>> owner;
  std::shared_ptr<AlertQueue> queue;
};

/// The link over the core's client of the relay, which lives on the core's thread alone: the main
/// thread neither waits for it nor for the files that it reads when it is made.
class RelayClientLink final : public RelayLink,
                              public std::enable_shared_from_this<RelayClientLink> {
 public:
  /// Makes a client that has not been started. Called on the core's thread.
  using ClientFactory =
      std::function<std::shared_ptr<RelayClient>(RelayClient::StateCallback onState)>;

  /// Links that send the state of this machine to a relay. `executor` is the core thread's and must
  /// outlive the links. Each link goes to the relay that `endpoint` holds when it is made. Main
  /// thread only.
  [[nodiscard]] static RelayLinkFactory ofThisMachine(
      const asio::any_io_executor& executor, const std::shared_ptr<Clock>& clock,
      std::shared_ptr<const RelayEndpoint> endpoint);

  /// Tells the relay that `endpoint` holds by then that a pairing has been replaced. Main thread.
  [[nodiscard]] static PairingKeeper::Retire revoking(
      const asio::any_io_executor& executor, const std::shared_ptr<Clock>& clock,
      std::shared_ptr<const RelayEndpoint> endpoint);

  /// `onState` is called on the main thread. Owned by a std::shared_ptr: what is under way keeps it
  /// alive.
  RelayClientLink(asio::any_io_executor executor, ClientFactory makeClient,
                  std::function<void(const RelayState&)> onState);
  RelayClientLink(const RelayClientLink&) = delete;
  RelayClientLink& operator=(const RelayClientLink&) = delete;
  ~RelayClientLink() override;

  void start() override;
  void stop(std::function<void()> stopped) override;

 private:
  asio::awaitable<void> stopClient();

  const asio::any_io_executor executor;
  const ClientFactory makeClient;
  const std::function<void(const RelayState&)> onState;
  /// Core thread only. There from `start` to the end of `stop`.
  std::shared_ptr<RelayClient> client;
};

}  // namespace orvik
