#include "relay/Admission.h"

#include <algorithm>
#include <vector>

namespace orvik::relay {

namespace {

asio::ip::address placeOf(const asio::ip::address& address) {
  if (!address.is_v6()) {
    return address;
  }
  const asio::ip::address_v6 v6 = address.to_v6();
  if (v6.is_v4_mapped()) {
    return asio::ip::make_address_v4(asio::ip::v4_mapped, v6);
  }
  asio::ip::address_v6::bytes_type bytes = v6.to_bytes();
  std::fill(bytes.begin() + 8, bytes.end(), std::uint8_t{0});
  return asio::ip::address_v6(bytes);
}

}  // namespace

std::optional<CloseReason> Admission::enter(const Address& address) {
  const std::lock_guard guard(lock);
  if (total.all >= limits.connections) {
    return CloseReason::tooManyConnections;
  }
  if (total.unauthenticated >= limits.unauthenticated) {
    return CloseReason::tooManyUnauthenticated;
  }
  if (address && !enterPlace(*address)) {
    return CloseReason::tooManyFromAddress;
  }
  ++total.all;
  ++total.unauthenticated;
  return std::nullopt;
}

std::optional<CloseReason> Admission::locate(const asio::ip::address& address) {
  const std::lock_guard guard(lock);
  return enterPlace(address) ? std::nullopt : std::optional(CloseReason::tooManyFromAddress);
}

bool Admission::enterPlace(const asio::ip::address& address) {
  Count& place = places[placeOf(address)];
  // Both are above zero when a bound is reached, so no empty place is left behind.
  if (place.all >= limits.connectionsPerAddress ||
      place.unauthenticated >= limits.unauthenticatedPerAddress) {
    return false;
  }
  ++place.all;
  ++place.unauthenticated;
  return true;
}

void Admission::authenticate(const Address& address) {
  const std::lock_guard guard(lock);
  --total.unauthenticated;
  if (address) {
    --places.at(placeOf(*address)).unauthenticated;
  }
}

void Admission::leave(const Address& address, bool wasAuthenticated) {
  const std::lock_guard guard(lock);
  const std::size_t unauthenticated = wasAuthenticated ? 0 : 1;
  --total.all;
  total.unauthenticated -= unauthenticated;
  if (!address) {
    return;
  }
  const auto place = places.find(placeOf(*address));
  --place->second.all;
  place->second.unauthenticated -= unauthenticated;
  if (place->second.all == 0) {
    places.erase(place);
  }
}

void Admission::forgetClaims(Instant now) {
  std::vector<double> left;
  left.reserve(claims.size());
  for (const auto& [place, rate] : claims) {
    left.push_back(rate.available(now));
  }
  const auto middle = left.begin() + static_cast<std::ptrdiff_t>(left.size() / 2);
  std::ranges::nth_element(left, middle);
  std::erase_if(claims, [now, least = *middle](const auto& claiming) {
    return claiming.second.available(now) >= least;
  });
}

bool Admission::mayClaim(const Address& address, Instant now) {
  if (!address) {
    return true;
  }
  const std::lock_guard guard(lock);
  const asio::ip::address place = placeOf(*address);
  if (claims.size() >= limits.claimingAddresses && !claims.contains(place)) {
    forgetClaims(now);
  }
  return claims.try_emplace(place, limits.claimsPerAddress, now).first->second.take(now);
}

bool Admission::isCrowded() const {
  const std::lock_guard guard(lock);
  return total.unauthenticated >= limits.unauthenticated;
}

}  // namespace orvik::relay
