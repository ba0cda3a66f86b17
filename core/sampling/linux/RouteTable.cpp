#include "core/sampling/linux/RouteTable.h"

#include <arpa/inet.h>
#include <netinet/in.h>

#include <algorithm>
#include <array>
#include <cstdint>

#include "core/sampling/linux/KernelText.h"
#include "core/values/NumberText.h"
#include "core/values/Text.h"

namespace orvik {

namespace {

// Of the kernel's flags of a route: it can be used, and it refuses what it is for.
constexpr std::uint32_t isUp = 0x0001;
constexpr std::uint32_t rejects = 0x0200;

struct Candidate {
  DefaultRoute route;
  std::uint32_t flags = 0;
  std::uint32_t metric = 0;
};

std::optional<std::uint32_t> hexadecimal(std::string_view digits) {
  return parseInteger<std::uint32_t>(digits, 16);
}

template <typename Address>
std::optional<std::string> textOfAddress(int family, const Address& address) {
  std::array<char, INET6_ADDRSTRLEN> text{};
  constexpr Address none{};
  if (std::equal(reinterpret_cast<const char*>(&address),
                 reinterpret_cast<const char*>(&address + 1),
                 reinterpret_cast<const char*>(&none)) ||
      inet_ntop(family, &address, text.data(), text.size()) == nullptr) {
    return std::nullopt;
  }
  return text.data();
}

/// "eth0 00000000 010200C0 0003 0 0 100 00000000 0 0 0": interface, destination, gateway, flags,
/// two counts, metric, mask. Addresses stand as this machine has their four bytes in memory.
std::optional<Candidate> defaultIPv4(const std::vector<std::string_view>& fields) {
  constexpr std::size_t leastFields = 8;
  if (fields.size() < leastFields || hexadecimal(fields[1]) != 0U || hexadecimal(fields[7]) != 0U) {
    return std::nullopt;
  }
  const auto gateway = hexadecimal(fields[2]);
  const auto flags = hexadecimal(fields[3]);
  const auto metric = parseInteger<std::uint32_t>(fields[6]);
  if (!gateway || !flags || !metric) {
    return std::nullopt;
  }
  return Candidate{.route = {.interface = std::string(fields[0]),
                             .gateway = textOfAddress(AF_INET, in_addr{*gateway})},
                   .flags = *flags,
                   .metric = *metric};
}

/// "(destination) 00 (source) 00 (gateway) 00000400 00000002 00000000 00000003 eth0": metric, two
/// counts, flags, interface. Addresses are 32 hexadecimal digits.
std::optional<Candidate> defaultIPv6(const std::vector<std::string_view>& fields) {
  constexpr std::size_t fieldCount = 10;
  constexpr std::size_t addressDigits = 32;
  if (fields.size() != fieldCount || hexadecimal(fields[1]) != 0U || hexadecimal(fields[3]) != 0U ||
      fields[4].size() != addressDigits) {
    return std::nullopt;
  }
  in6_addr gateway{};
  for (std::size_t i = 0; i < sizeof gateway.s6_addr; ++i) {
    const auto byte = byteFromHex(fields[4].substr(2 * i, 2));
    if (!byte) {
      return std::nullopt;
    }
    gateway.s6_addr[i] = *byte;
  }
  const auto metric = hexadecimal(fields[5]);
  const auto flags = hexadecimal(fields[8]);
  if (!metric || !flags) {
    return std::nullopt;
  }
  return Candidate{
      .route = {.interface = std::string(fields[9]), .gateway = textOfAddress(AF_INET6, gateway)},
      .flags = *flags,
      .metric = *metric};
}

std::optional<DefaultRoute> best(std::string_view table, const auto& defaultOf) {
  std::optional<Candidate> chosen;
  for (const std::string_view line : splitAt(table, '\n')) {
    auto candidate = defaultOf(fieldsOf(line));
    if (candidate && (candidate->flags & (isUp | rejects)) == isUp &&
        (!chosen || candidate->metric < chosen->metric)) {
      chosen = std::move(candidate);
    }
  }
  return chosen ? std::optional(std::move(chosen->route)) : std::nullopt;
}

}  // namespace

std::optional<DefaultRoute> defaultIPv4Route(std::string_view table) {
  return best(table, defaultIPv4);
}

std::optional<DefaultRoute> defaultIPv6Route(std::string_view table) {
  return best(table, defaultIPv6);
}

}  // namespace orvik
