#pragma once

#include <chrono>
#include <functional>
#include <optional>
#include <string>

#include "core/platform/Clock.h"
#include "core/platform/linux/RouteTable.h"
#include "core/platform/linux/SlowQuestions.h"
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

  /// Reads below `root`, and asks for the connection's name on the bus at this address, the
  /// system's own when empty. `reverseName` is called on other threads.
  NetworkReader(std::string root, std::string busAddress, ReverseName reverseName, Limits limits);

  /// The object with "link", "gateway" and "router"; null when there is no default route.
  [[nodiscard]] JSONValue read(Instant now);

 private:
  std::optional<DefaultRoute> defaultRoute() const;
  std::string linkName(const std::string& interface) const;
  std::optional<std::string> routerName(const std::string& gateway, Instant now);

  /// The last router that was asked for.
  struct Router {
    std::string gateway;
    std::optional<std::string> name;
    Instant askedAt;
  };

  std::string root;
  std::string busAddress;
  Limits limits;
  SlowQuestions<std::optional<std::string>> reverseNames;
  std::optional<Router> router;
};

}  // namespace orvik
