#pragma once

#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "core/async/Clock.h"
#include "relay/Limits.h"
#include "relay/push/PushQueue.h"
#include "relay/push/PushServices.h"
#include "relay/push/PushState.h"
#include "relay/push/Pusher.h"
#include "relay/push/VAPID.h"

namespace orvik::relay {

struct PushAnswer;

/// Whether there are authorities to check certificates by: a file that is not empty, or a folder
/// that has one. Either may be null.
[[nodiscard]] bool holdAuthorities(const char* file, const char* folder);

/// Asks push services to deliver alerts. One thread does all of it, so that nothing else waits for
/// a network; what it has not delivered is lost with it, since phones get it when they connect.
class PushSender final : public Pusher {
 public:
  struct Settings {
    /// How the operator is reached: a mailto: or https: URI. Empty where nothing is pushed.
    std::string subject;
    /// As for PushServices; the well-known ones where it is empty.
    std::vector<std::string> services;
    /// A PEM file of the authorities that push services are checked by, in place of the system's.
    std::string trust;

    /// Throws std::runtime_error, with one line, when one of them is of no use.
    void check() const;
    /// Whether the system has authorities, where it is asked for them.
    [[nodiscard]] bool haveAuthorities() const;
  };
  /// A push service does not know a subscription any more. Called on the sender's thread.
  using Gone = std::function<void(const Identifier&, const std::string& endpoint)>;

  /// `limits` outlive the sender. Throws std::runtime_error like `Settings::check`.
  PushSender(const Settings& settings, P256Key key, const Limits& limits,
             std::shared_ptr<Clock> clock, Gone gone);
  PushSender(const PushSender&) = delete;
  PushSender& operator=(const PushSender&) = delete;
  /// Gives up what has not been delivered.
  ~PushSender() override;

  [[nodiscard]] const std::string& publicKey() const override { return key; }
  [[nodiscard]] bool serves(const Subscription& subscription) const override;
  void push(const PushedAlert& alert, const std::vector<Subscription>& to) override;
  void forget(const Identifier& mac, const std::string& endpoint) override;
  void leftOut(std::size_t count) override;

  [[nodiscard]] PushState state() const;

 private:
  struct Transfer;
  struct Network;

  void run();
  void takeIncoming();
  void begin(Push push);
  void ended(std::unique_ptr<Transfer> transfer, const PushAnswer& answer);
  void failed(PushFailure failure, std::uint64_t count = 1);
  void tell(const Push& push, const PushAnswer& answer);

  const PushServices services;
  const std::string trust;
  const Limits& limits;
  const std::shared_ptr<Clock> clock;
  const Gone gone;

  mutable std::mutex mutex;
  struct Forgotten {
    Identifier mac{};
    std::string origin{};
    std::string endpoint{};
  };
  std::vector<Push> incoming;
  std::vector<Forgotten> forgotten;
  /// Of what has come in, and of what is in the queue.
  std::size_t incomingBytes = 0;
  std::size_t queuedBytes = 0;
  PushState told;
  bool isEnding = false;

  /// The thread's alone from here on, but for waking it up.
  VAPID vapid;
  const std::string key;
  PushQueue queue;
  /// For each of the services: a stranger's trouble with one does not hide another's.
  std::vector<Instant> nextLines;
  std::unique_ptr<Network> network;
  std::thread thread;
};

}  // namespace orvik::relay
