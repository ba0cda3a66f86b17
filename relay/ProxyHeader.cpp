#include "relay/ProxyHeader.h"

#include <algorithm>
#include <array>

namespace orvik::relay {

ProxyHeader::Outcome ProxyHeader::read(std::string_view bytes) {
  constexpr std::string_view signature("\r\n\r\n\0\r\nQUIT\n", 12);
  constexpr std::size_t fixedSize = 16;
  const std::size_t known = std::min(bytes.size(), signature.size());
  if (bytes.substr(0, known) != signature.substr(0, known)) {
    return Outcome::bad;
  }
  if (bytes.size() < fixedSize) {
    return Outcome::incomplete;
  }
  const auto byte = [&](std::size_t i) { return static_cast<unsigned char>(bytes[i]); };
  constexpr unsigned char localCommand = 0x20;
  constexpr unsigned char proxyCommand = 0x21;
  size = fixedSize + (std::size_t{byte(14)} << 8U) + byte(15);
  if ((byte(12) != localCommand && byte(12) != proxyCommand) || size > longest) {
    return Outcome::bad;
  }
  if (bytes.size() < size) {
    return Outcome::incomplete;
  }
  address.reset();
  const auto addressOf = [&]<typename Address>(Address*) {
    typename Address::bytes_type raw{};
    if (size < fixedSize + 2 * raw.size() + 4) {
      return false;
    }
    std::copy_n(bytes.begin() + fixedSize, raw.size(), raw.begin());
    address = Address(raw);
    return true;
  };
  constexpr unsigned char tcp4 = 0x11;
  constexpr unsigned char tcp6 = 0x21;
  bool isGood = true;
  if (byte(12) == proxyCommand && byte(13) == tcp4) {
    isGood = addressOf(static_cast<asio::ip::address_v4*>(nullptr));
  } else if (byte(12) == proxyCommand && byte(13) == tcp6) {
    isGood = addressOf(static_cast<asio::ip::address_v6*>(nullptr));
  }
  return isGood ? Outcome::header : Outcome::bad;
}

}  // namespace orvik::relay
