#include "OrvikApp/RelayClientLink.h"

#include <boost/asio/co_spawn.hpp>
#include <boost/asio/post.hpp>

#include <cstdio>
#include <stdexcept>
#include <utility>

#include "OrvikApp/CoreThread.h"
#include "OrvikApp/platform/Icons.h"
#include "core/client/Revocation.h"
#include "core/connection/BeastWebSocket.h"
#include "core/sampling/SystemSampleSource.h"
#include "core/sampling/ThisMachine.h"

namespace orvik {

namespace {

/// Reading the system's certificates takes OpenSSL some 60 ms: each client does it for itself, on
/// the core's thread, and so notices when they have changed.
std::shared_ptr<WebSocketSession> sessionWith(const std::shared_ptr<Clock>& clock,
                                              const RelayEndpoint& relay) {
  ServerTrust trust{.certificates = relay.trust, .fingerprint = relay.fingerprint};
  try {
    return std::make_shared<BeastWebSocketSession>(clock, trust);
  } catch (const std::runtime_error& error) {
    // Whoever has taken the file away will want the relay to be refused.
    std::fprintf(stderr, "orvik: %s\n", error.what());
    trust.certificates.reset();
    return std::make_shared<BeastWebSocketSession>(clock, trust);
  }
}

}  // namespace

std::shared_ptr<AlertQueue> WaitingAlerts::of(const Pairing& pairing) {
  if (pairing.macId() != owner) {
    owner = pairing.macId();
    queue = std::make_shared<AlertQueue>();
  }
  return queue;
}

RelayLinkFactory RelayClientLink::ofThisMachine(const asio::any_io_executor& executor,
                                                const std::shared_ptr<Clock>& clock,
                                                std::shared_ptr<const RelayEndpoint> endpoint) {
  // One for all links: each goes on with what the one before has saved, which is not on the disk
  // yet.
  const auto alertState = AlertStateStore::writeBehind(
      AlertStateStore::userDefaults(std::nullopt, "alertEngine"), clock);
  const auto waitingAlerts = std::make_shared<WaitingAlerts>();
  return [=, icon = computerIcon()](const Pairing& pairing,
                                    std::function<void(const RelayState&)> onState) {
    const auto alerts = waitingAlerts->of(pairing);
    ClientFactory makeClient = [=, relay = *endpoint](RelayClient::StateCallback report) {
      return std::make_shared<RelayClient>(
          pairing, relay.url,
          std::make_shared<SystemSampleSource>(executor, clock,
                                               readingsOfThisMachine(executor, clock, icon)),
          alertState, std::move(report),
          RelayClient::Dependencies{executor, clock, sessionWith(clock, relay), alerts});
    };
    return std::make_shared<RelayClientLink>(executor, std::move(makeClient), std::move(onState));
  };
}

PairingKeeper::Retire RelayClientLink::revoking(const asio::any_io_executor& executor,
                                                const std::shared_ptr<Clock>& clock,
                                                std::shared_ptr<const RelayEndpoint> endpoint) {
  return [=](const RetiredPairing& retired, std::function<void()> told) {
    asio::post(executor, [=, relay = *endpoint, told = std::move(told)] {
      if (!relay.url.empty()) {
        std::make_shared<Revocation>(executor, clock, sessionWith(clock, relay), relay.url, retired,
                                     told)
            ->start();
      }
    });
  };
}

RelayClientLink::RelayClientLink(asio::any_io_executor executor, ClientFactory makeClient,
                                 std::function<void(const RelayState&)> onState)
    : executor(std::move(executor)),
      makeClient(std::move(makeClient)),
      onState(std::move(onState)) {}

RelayClientLink::~RelayClientLink() {
  // A client ends on its own thread, not on the one that let go of the link.
  if (client) {
    asio::post(executor, [released = std::move(client)] {});
  }
}

void RelayClientLink::start() {
  asio::post(executor, [self = shared_from_this()] {
    if (!self->client) {
      self->client = self->makeClient([report = self->onState](const RelayState& state) {
        onMainThread([report, state] { report(state); });
      });
    }
    self->client->start();
  });
}

void RelayClientLink::stop(std::function<void()> stopped) {
  asio::post(executor, [self = shared_from_this(), stopped = std::move(stopped)]() mutable {
    asio::co_spawn(self->executor, self->stopClient(),
                   [self, stopped = std::move(stopped)](const std::exception_ptr&) mutable {
                     onMainThread(std::move(stopped));
                   });
  });
}

asio::awaitable<void> RelayClientLink::stopClient() {
  if (const auto stopping = std::exchange(client, nullptr)) {
    co_await stopping->stop();
  }
}

}  // namespace orvik
