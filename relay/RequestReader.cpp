#include "relay/RequestReader.h"

#include <boost/beast/websocket/rfc6455.hpp>
#include <openssl/evp.h>
#include <openssl/sha.h>

#include <array>

#include "core/values/Bytes.h"

namespace orvik::relay {

namespace {

using http::field;

}  // namespace

RequestReader::Outcome RequestReader::read(std::string_view bytes) {
  if (!parser) {
    parser.emplace();
    parser->header_limit(static_cast<std::uint32_t>(longestHead));
    parser->eager(false);
  }
  unread += bytes;
  boost::system::error_code error;
  while (!unread.empty() && !parser->is_header_done()) {
    const std::size_t taken = parser->put(boost::asio::buffer(unread), error);
    unread.erase(0, taken);
    if (error == http::error::need_more) {
      return unread.size() < longestHead ? Outcome::incomplete : Outcome::bad;
    }
    if (error) {
      return Outcome::bad;
    }
  }
  return parser->is_header_done() ? Outcome::request : Outcome::incomplete;
}

bool isUpgrade(const HTTPRequest& request) { return boost::beast::websocket::is_upgrade(request); }

bool isProperUpgrade(const HTTPRequest& request) {
  // 16 bytes in base64.
  constexpr std::size_t keySize = 24;
  const std::string_view key = viewOf(request[field::sec_websocket_key]);
  return request.count(field::host) == 1 && request[field::sec_websocket_version] == "13" &&
         key.size() == keySize && key.ends_with("==");
}

std::string upgradeAnswer(const HTTPRequest& request) {
  // RFC 6455, section 1.3.
  std::string text(viewOf(request[field::sec_websocket_key]));
  text += "258EAFA5-E914-47DA-95CA-C5AB0DC85B11";
  std::array<unsigned char, SHA_DIGEST_LENGTH> digest{};
  SHA1(bytesOf(text).data(), text.size(), digest.data());
  std::array<unsigned char, 32> accept{};
  EVP_EncodeBlock(accept.data(), digest.data(), static_cast<int>(digest.size()));
  return "HTTP/1.1 101 Switching Protocols\r\nUpgrade: websocket\r\nConnection: Upgrade\r\n"
         "Sec-WebSocket-Accept: " +
         std::string(accept.begin(), accept.begin() + 28) + "\r\nServer: orvik-relay\r\n\r\n";
}

std::string headOf(const HTTPAnswer& answer) {
  std::string head = "HTTP/1.1 " + std::to_string(answer.result_int()) + " ";
  head += viewOf(answer.reason());
  head += "\r\n";
  for (const auto& line : answer) {
    head.append(viewOf(line.name_string()))
        .append(": ")
        .append(viewOf(line.value()))
        .append("\r\n");
  }
  return head += "\r\n";
}

}  // namespace orvik::relay
