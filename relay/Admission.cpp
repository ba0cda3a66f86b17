#include "relay/Admission.h"

#include <algorithm>

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

bool Admission::enter(const asio::ip::address& address) {
  if (total.all >= limits.connections || total.unauthenticated >= limits.unauthenticated) {
    return false;
  }
  Count& place = places[placeOf(address)];
  // Both are above zero when a bound is reached, so no empty place is left behind.
  if (place.all >= limits.connectionsPerAddress ||
      place.unauthenticated >= limits.unauthenticatedPerAddress) {
    return false;
  }
  for (Count* count : {&total, &place}) {
    ++count->all;
    ++count->unauthenticated;
  }
  return true;
}

void Admission::authenticate(const asio::ip::address& address) {
  --total.unauthenticated;
  --places.at(placeOf(address)).unauthenticated;
}

void Admission::leave(const asio::ip::address& address, bool wasAuthenticated) {
  const auto place = places.find(placeOf(address));
  for (Count* count : {&total, &place->second}) {
    --count->all;
    count->unauthenticated -= wasAuthenticated ? 0 : 1;
  }
  if (place->second.all == 0) {
    places.erase(place);
  }
}

}  // namespace orvik::relay
