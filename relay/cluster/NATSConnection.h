#pragma once

#include <nats/nats.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "core/values/CHandle.h"

namespace orvik::relay {

/// A connection to an engine of NATS, which a thread of its own makes, again whenever it is lost,
/// and for ever. Everything that may have to wait is done there, so that nobody else does.
class NATSConnection {
 public:
  struct Settings {
    /// "nats://HOST:PORT" or "tls://…", several of one engine with commas; the first may have
    /// "USER:PASSWORD@" before its host, which goes for all.
    std::string addresses;
    /// A file with credentials as the engine's tools write them; empty for none.
    std::string credentials{};
    /// A PEM file of the authorities that the engine is checked by, in place of the system's.
    std::string trust{};

    /// Throws std::runtime_error, with one line, when one of them is of no use.
    void check() const;
  };

  struct Message {
    std::string subject;
    std::string data{};
    /// Where the answer goes to; empty when none is wanted.
    std::string reply{};
    /// The place in its stream of what has to be the last message on the subject; 0 for none.
    std::optional<std::uint64_t> after{};
  };

  /// Who is told what happens. None of these may wait.
  class Receiver {
   public:
    virtual ~Receiver() = default;

    /// The connection is there, with all that has been joined. On its thread.
    virtual void connected() = 0;
    /// It is gone or could not be had: what has not been answered will not be. On the connection's
    /// thread.
    virtual void lost(const std::string& why) = 0;
    /// A message, or word that nobody listens to a request. On a thread of the library.
    virtual void received(std::string_view subject, std::string_view data, bool isUnheard) = 0;
    /// Called four times a second while there is a connection, on its thread.
    virtual void tick() = 0;
  };

  struct State {
    bool isConnected = false;
    /// Connections that were there and have been lost.
    std::uint64_t lost = 0;
    std::uint64_t sent = 0;
    std::uint64_t sentBytes = 0;
    std::uint64_t received = 0;
    std::uint64_t receivedBytes = 0;
    /// Messages for which there was no room or no connection.
    std::uint64_t refused = 0;
    /// What the engine does not let its user say or hear, until a connection has lasted; empty
    /// where it lets it.
    std::string refusal{};
  };

  /// At most so many bytes wait to be sent. The receiver outlives the connection.
  NATSConnection(Settings settings, std::size_t mostBytes, Receiver& receiver);
  NATSConnection(const NATSConnection&) = delete;
  NATSConnection& operator=(const NATSConnection&) = delete;
  ~NATSConnection();

  /// Begins to connect. The receiver is complete by then.
  void start();
  /// The receiver is told nothing any more once this has returned. Harmless when repeated.
  void stop();

  /// Sends soon, in order with all else; false when there is no room or no connection. From any
  /// thread, like what follows.
  bool send(Message message);
  /// Messages on this subject are received from now on while there is a connection, until `leave`.
  void join(std::string subject);
  void leave(std::string subject);

  [[nodiscard]] State state() const;
  /// The longest message that the engine takes, by its own word; 0 while there is no connection.
  /// On the connection's thread.
  [[nodiscard]] std::size_t longestMessage() const;

 private:
  using Subscription = CHandle<natsSubscription, natsSubscription_Destroy>;
  struct Command {
    enum class Kind { send, join, leave };
    Kind kind;
    Message message;
  };

  void run();
  void connect();
  void disconnect();
  [[nodiscard]] bool isLost() const;
  void execute(const Command& command);
  void publish(const Message& message);
  void subscribe(const std::string& subject, Subscription& to);
  [[nodiscard]] bool enqueue(Command command);
  static void receive(natsConnection* connection, natsSubscription* subscription, natsMsg* message,
                      void* self);
  static void completed(void* self);

  const Settings settings;
  const std::size_t mostBytes;
  Receiver& receiver;

  mutable std::mutex mutex;
  std::condition_variable changed;
  std::vector<Command> waiting;
  std::size_t waitingBytes = 0;
  State told;
  bool isEnding = false;
  /// Subscriptions whose messages may still come.
  std::size_t live = 0;
  std::atomic<std::uint64_t> received = 0;
  std::atomic<std::uint64_t> receivedBytes = 0;

  /// The thread's alone from here on.
  CHandle<natsConnection, natsConnection_Destroy> connection;
  /// By subject; null while there is no connection.
  std::map<std::string, Subscription, std::less<>> subscriptions;
  std::string failure;
  std::chrono::steady_clock::time_point made;
  std::thread thread;
};

}  // namespace orvik::relay
