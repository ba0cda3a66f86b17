#pragma once

#include <chrono>
#include <functional>
#include <optional>
#include <string>

#include "core/async/Clock.h"
#include "core/async/SlowQuestions.h"
#include "core/sampling/Cadence.h"
#include "core/sampling/linux/RouteTable.h"
#include "core/system/linux/SystemBus.h"
#include "core/values/JSONValue.h"

namespace orvik {

/// The name of an address from the system's name service; nothing when it has none. Blocks as long
/// as the name service pleases.
[[nodiscard]] std::optional<std::string> readReverseName(const std::string& address);

/// How the machine is connected to the network.
class NetworkReader {
 public:
  using ReverseName = std::function<std::optional<std::string>(const std::string& address)>;

  /// What is waited for.
  struct Limits {
    std::chrono::milliseconds connectionName{1000};
    std::chrono::milliseconds routerName{4000};
  };
  /// Routers are rarely renamed, and not every name service likes to be asked what it does not
  /// know.
  static constexpr std::chrono::minutes routerNameLife{5};
  /// How long the connection's name is believed when the service that told it falls silent: over
  /// one rest of it and the reading after that.
  static constexpr std::chrono::seconds linkNameLife{90};

  /// Reads below `root`. `reverseName` is called on other threads.
  NetworkReader(std::string root, ReverseName reverseName, Limits limits);

  /// The object with "link", "gateway" and "router"; null when there is no default route. Asks for
  /// the connection's name on the bus.
  [[nodiscard]] JSONValue read(SystemBus& bus, Instant now);

 private:
  std::optional<DefaultRoute> defaultRoute() const;
  /// The name of the connection, or of its interface when it has none or nobody tells.
  std::string linkName(SystemBus& bus, const DefaultRoute& route, Instant now);
  std::optional<std::string> routerName(const std::string& gateway, Instant now);

  /// The last router whose name was asked for.
  struct Router {
    std::string gateway;
    Instant askedAt;
  };
  /// The last connection whose name was told.
  struct Link {
    DefaultRoute route;
    std::string name;
    Instant toldAt;
  };

  std::string root;
  Limits limits;
  /// A service that did not answer in time is left alone for a while.
  Cadence rest{std::chrono::minutes(1)};
  std::optional<Link> link;
  SlowQuestions<std::optional<std::string>> reverseNames;
  std::optional<Router> router;
};

}  // namespace orvik
