#include "core/sampling/linux/NetworkReader.h"

#include <netdb.h>
#include <sys/socket.h>

#include <array>
#include <string_view>

#include "core/sampling/linux/KernelText.h"
#include "core/system/linux/TextFile.h"
#include "core/values/CHandle.h"
#include "core/values/JSONMembers.h"
#include "core/values/Text.h"

namespace orvik {

namespace {

/// As a person writes it: one line, without the dots at its end. Nothing when nothing is left, or
/// for the name by which some systems call every gateway.
std::optional<std::string> routerNameOf(const std::string& name) {
  constexpr std::string_view anyGateway = "_gateway";
  std::string_view line = splitAt(trimmed(name), '\n').front();
  line = line.substr(0, line.find_last_not_of('.') + 1);
  return line.empty() || line == anyGateway ? std::nullopt : std::optional(repairedUTF8(line));
}

/// The name that the network service has for the connection on this interface; empty without one.
std::string connectionName(SystemBus& bus, const std::string& interface) {
  constexpr const char* service = "org.freedesktop.NetworkManager";
  const auto textOf = [](const std::optional<UntypedValue>& value) {
    const auto* const text = value ? value->get<std::string>() : nullptr;
    return text == nullptr ? std::string() : *text;
  };
  const std::string device = textOf(bus.call({.service = service,
                                              .object = "/org/freedesktop/NetworkManager",
                                              .interface = service,
                                              .name = "GetDeviceByIpIface"},
                                             {interface.c_str()}));
  const std::string connection =
      device.empty() ? ""
                     : textOf(bus.property(service, device, "org.freedesktop.NetworkManager.Device",
                                           "ActiveConnection"));
  return connection.empty()
             ? ""
             : textOf(bus.property(service, connection,
                                   "org.freedesktop.NetworkManager.Connection.Active", "Id"));
}

}  // namespace

std::optional<std::string> readReverseName(const std::string& address) {
  addrinfo hints{};
  hints.ai_flags = AI_NUMERICHOST;
  hints.ai_socktype = SOCK_STREAM;
  addrinfo* rawList = nullptr;
  if (getaddrinfo(address.c_str(), nullptr, &hints, &rawList) != 0) {
    return std::nullopt;
  }
  const CHandle<addrinfo, freeaddrinfo> list(rawList);
  std::array<char, NI_MAXHOST> name{};
  if (getnameinfo(list->ai_addr, list->ai_addrlen, name.data(), name.size(), nullptr, 0,
                  NI_NAMEREQD) != 0) {
    return std::nullopt;
  }
  return name.data();
}

NetworkReader::NetworkReader(std::string root, ReverseName reverseName, Limits limits)
    : root(std::move(root)),
      limits(limits),
      reverseNames(std::move(reverseName), limits.routerName) {}

std::optional<DefaultRoute> NetworkReader::defaultRoute() const {
  // Of all the routes of a machine in the middle of a network only some are read. The kernel lists
  // the default ones of IPv4 first, those of IPv6 last.
  constexpr std::size_t limitForIPv6 = std::size_t{1024} * 1024;
  auto route = defaultIPv4Route(readText(root + "/proc/net/route").value_or(""));
  return route
             ? route
             : defaultIPv6Route(readText(root + "/proc/net/ipv6_route", limitForIPv6).value_or(""));
}

std::string NetworkReader::linkName(SystemBus& bus, const DefaultRoute& route, Instant now) {
  if (rest.isDue(now)) {
    bus.allow(limits.connectionName);
    std::string name = connectionName(bus, route.interface);
    if (!bus.isLate()) {
      link = Link{.route = route, .name = std::move(name), .toldAt = now};
    } else {
      rest.refreshed(now, now);
    }
  }
  const bool isKnown = link && link->route == route && now - link->toldAt < linkNameLife;
  return isKnown && !link->name.empty() ? link->name : repairedUTF8(route.interface);
}

std::optional<std::string> NetworkReader::routerName(const std::string& gateway, Instant now) {
  std::optional<std::optional<std::string>> name;
  if (!router || router->gateway != gateway || now - router->askedAt >= routerNameLife) {
    router = Router{.gateway = gateway, .askedAt = now};
    name = reverseNames.answers({gateway}).front();
  } else {
    // A name that came late is there by now.
    name = reverseNames.lastAnswer(gateway);
  }
  return name && *name ? routerNameOf(**name) : std::nullopt;
}

JSONValue NetworkReader::read(SystemBus& bus, Instant now) {
  const auto route = defaultRoute();
  if (!route) {
    return nullptr;
  }
  const auto name = route->gateway ? routerName(*route->gateway, now) : std::nullopt;
  return JSONObject{{"link", linkName(bus, *route, now)},
                    {"gateway", orNull(route->gateway)},
                    {"router", orNull(name)}};
}

}  // namespace orvik
