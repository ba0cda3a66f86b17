#pragma once

#include <boost/asio/any_io_executor.hpp>
#include <boost/asio/awaitable.hpp>
#include <boost/asio/strand.hpp>

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "core/alerts/AlertEngine.h"
#include "core/alerts/AlertQueue.h"
#include "core/alerts/AlertStateStore.h"
#include "core/alerts/MinuteHistory.h"
#include "core/async/Clock.h"
#include "core/async/Notifier.h"
#include "core/client/Presence.h"
#include "core/client/RelayState.h"
#include "core/client/SampleSchedule.h"
#include "core/connection/PersistentConnection.h"
#include "core/pairing/Pairing.h"
#include "core/sampling/SampleSource.h"

namespace orvik {

/// Keeps one connection from this computer to the relay: authenticates it and sends sealed samples
/// while phones watch. Beside that, connected or not, watches the machine for what its user has to
/// know and sends the alerts as soon as the relay takes them. Everything runs on its own strand;
/// what is public may be called from any thread.
class RelayClient : public std::enable_shared_from_this<RelayClient>,
                    private PersistentConnection::User {
 public:
  /// Told of every change of state, on the client's strand. Must not block.
  using StateCallback = std::function<void(const RelayState&)>;

  /// What the client runs on and connects with.
  struct Dependencies {
    asio::any_io_executor executor;
    std::shared_ptr<Clock> clock;
    std::shared_ptr<WebSocketSession> session;
    /// Alerts that wait to be sent, or to be called safe. Outlives the client, so that the next one
    /// of the same pairing sends what this one could not; clients that share it run on one thread.
    std::shared_ptr<AlertQueue> alerts = std::make_shared<AlertQueue>();
  };

  /// The relay that this build connects to by default: a wss URL.
  [[nodiscard]] static const std::string& defaultRelay();

  /// Starts nothing, but reads what `alertState` has: the alerts go on where they were when the
  /// program last ran. `relay` is the base URL, without "v1/mac/". Owned by a std::shared_ptr: what
  /// it has begun keeps it alive.
  RelayClient(Pairing pairing, const std::string& relay, std::shared_ptr<SampleSource> source,
              AlertStateStore alertState, StateCallback onState, Dependencies dependencies);
  RelayClient(const RelayClient&) = delete;
  RelayClient& operator=(const RelayClient&) = delete;

  /// Begins to connect and to watch the machine; nothing happens when it has begun already. After
  /// `stop`, also while that says goodbye, and once the relay has refused the pairing, starts
  /// afresh.
  void start();

  /// Ends both tasks and says goodbye to the relay by closing with code 1000. Resumes when the
  /// relay has answered, or after 2 s.
  asio::awaitable<void> stop();

  /// Queues an alert as if the machine had raised it, and sends what is due. A value that is not
  /// finite counts as none.
  asio::awaitable<void> emitForTesting(Alert alert);

  /// The compact object `data` with one more member at its end. No parsing is done; what is empty
  /// or does not end with "}" is returned as it is.
  [[nodiscard]] static std::string adding(std::string_view key, const JSONValue& value,
                                          std::string data);

 private:
  /// A coroutine that can be cancelled.
  struct TaskHandle;
  using Link = std::shared_ptr<PersistentConnection::Link>;

  void spawn(std::shared_ptr<TaskHandle>& task, asio::awaitable<void> work);
  asio::awaitable<void> stopOnStrand();

  asio::awaitable<void> run();
  void connecting() override;
  asio::awaitable<void> talk(Link link) override;
  void waiting(std::chrono::seconds wait, const PersistentConnection::Ending& ending) override;

  asio::awaitable<void> receiveLoop(Link link);
  void noteWhatItKeeps(const WebSocketMessage& message);
  asio::awaitable<void> sampleLoop(Link link);
  asio::awaitable<void> sendSample(Link link, SampleSchedule& schedule, SampleSchedule::Due due);
  asio::awaitable<void> waitForDecision(const SampleSchedule& schedule, Presence seen);

  asio::awaitable<void> alertLoop();
  asio::awaitable<void> checkAlerts();
  asio::awaitable<void> queueAlert(Alert alert);
  asio::awaitable<void> flushAlerts();
  asio::awaitable<void> sendDueAlerts(Link link);
  asio::awaitable<void> send(Link link, Alert alert, std::string envelope);

  const Pairing pairing;
  const std::shared_ptr<SampleSource> source;
  const StateCallback onState;
  const std::shared_ptr<Clock> clock;
  const asio::strand<asio::any_io_executor> strand;
  PersistentConnection connection;

  std::shared_ptr<TaskHandle> runTask;
  std::shared_ptr<TaskHandle> alertTask;
  /// How often it was started.
  std::uint64_t startCount = 0;
  const AlertStateStore alertState;
  AlertEngine engine;
  MinuteHistory history;
  const std::shared_ptr<AlertQueue> alerts;
  std::optional<Instant> lastChecked;
  /// Alerts are being sent.
  bool flushing = false;
  /// The relay of this connection says which alerts are safe.
  bool relayKeepsAlerts = false;
  /// It pushes alerts to phones, and is told what it needs for that.
  bool relayPushes = false;
  Presence presence;
  Notifier presenceChanged;
};

}  // namespace orvik
