#pragma once

#include <boost/beast/http/parser.hpp>

#include <optional>
#include <string>
#include <string_view>

#include "relay/HTTPAnswer.h"

namespace orvik::relay {

using HTTPRequest = http::request<http::empty_body>;

/// Reads the heads of HTTP requests out of bytes that are cut anywhere. Knows no socket.
class RequestReader {
 public:
  /// Line and fields of a request have at most `longestHead` bytes.
  explicit RequestReader(std::size_t longestHead) : longestHead(longestHead) {}

  enum class Outcome { incomplete, request, bad };
  /// Takes bytes and looks for a request in what has come.
  [[nodiscard]] Outcome read(std::string_view bytes);

  /// The request that was found.
  [[nodiscard]] const HTTPRequest& request() const { return parser->get(); }
  /// Whether the request has no body, so that another may follow.
  [[nodiscard]] bool isWhole() const { return parser->is_done(); }
  /// Whether bytes have come behind the request's head.
  [[nodiscard]] bool hasMore() const noexcept { return !unread.empty(); }
  /// Begins with the next request.
  void reset() { parser.reset(); }

 private:
  std::size_t longestHead;
  std::string unread;
  std::optional<http::request_parser<http::empty_body>> parser;
};

/// Whether the request asks for a WebSocket as RFC 6455 has it, version 13.
[[nodiscard]] bool isUpgrade(const HTTPRequest& request);
/// Whether it can be given: the key is one.
[[nodiscard]] bool isProperUpgrade(const HTTPRequest& request);
/// The answer that makes a WebSocket of the connection.
[[nodiscard]] std::string upgradeAnswer(const HTTPRequest& request);

/// The head of an answer, as it goes over the wire.
[[nodiscard]] std::string headOf(const HTTPAnswer& answer);

}  // namespace orvik::relay
