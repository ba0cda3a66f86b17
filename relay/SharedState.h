#pragma once

#include <atomic>
#include <functional>
#include <memory>
#include <optional>
#include <random>
#include <string>
#include <vector>

#include "core/async/Clock.h"
#include "relay/Admission.h"
#include "relay/Page.h"
#include "relay/RecordStore.h"
#include "relay/Target.h"
#include "relay/cluster/NATSNeighbours.h"
#include "relay/push/PushSender.h"

namespace orvik::relay {

class Loop;

/// What all event loops of one relay share. Nothing in it changes while they run, but for what is
/// safe to use from all of them.
struct SharedState {
  SharedState(const Limits& bounds, std::shared_ptr<Clock> time,
              std::unique_ptr<RecordStore> records)
      : limits(bounds), clock(std::move(time)), store(std::move(records)) {}

  /// Where the clients of an identifier belong.
  [[nodiscard]] Loop& home(const Identifier& identifier) const;

  const Limits limits;
  const std::shared_ptr<Clock> clock;
  const std::uint64_t secret =
      (std::uint64_t{std::random_device()()} << 32U) | std::random_device()();
  Admission admission{limits};
  /// Gone before the loops, whose threads have ended by then: its answers are posted to them.
  std::unique_ptr<RecordStore> store;
  /// Null where nothing is pushed. Gone before the loops, like the store.
  std::unique_ptr<PushSender> pusher;
  /// Null for a relay alone. Gone before the loops, like the store; the listener after it.
  std::unique_ptr<NeighbourListener> listener;
  std::unique_ptr<NATSNeighbours> neighbours;
  /// Null where none is served.
  std::unique_ptr<const Page> page;
  /// Whether the log tells of each connection.
  bool isVerbose = false;
  /// The text for /metrics; called on the loop of the listener for it.
  std::function<std::string()> metrics;
  /// Why the relay takes no clients, for /readyz; nothing while it does. Called like `metrics`.
  std::function<std::optional<std::string>()> notReady;
  /// Connections that do not authenticate soon have to make room.
  std::atomic<bool> isCrowded = false;
  std::vector<std::unique_ptr<Loop>> loops;
};

}  // namespace orvik::relay
