#pragma once

#include <boost/beast/http/empty_body.hpp>
#include <boost/beast/http/message.hpp>
#include <boost/beast/http/span_body.hpp>

#include <functional>
#include <optional>
#include <string>
#include <string_view>

#include "relay/Page.h"

namespace orvik::relay {

namespace http = boost::beast::http;

/// The library's view of a text, as the language's.
[[nodiscard]] inline std::string_view viewOf(boost::beast::string_view text) {
  return {text.data(), text.size()};
}

/// Its body belongs to the page, or lasts as long as the program.
using HTTPAnswer = http::response<http::span_body<const char>>;

/// What is answered to a request that asks for no WebSocket: "ok" to a health check, the page's
/// files where there is a page, and otherwise a refusal. `overTLS` says how the request came.
[[nodiscard]] HTTPAnswer answerTo(const http::request<http::empty_body>& request, const Page* page,
                                  bool overTLS);

/// What the listener for monitoring answers: metrics, whether the relay lives, and whether it takes
/// clients. The answer's body is `body`.
[[nodiscard]] HTTPAnswer monitoringAnswer(
    const http::request<http::empty_body>& request, const std::function<std::string()>& metrics,
    const std::function<std::optional<std::string>()>& notReady, std::string& body);

/// An answer that is one line of text.
[[nodiscard]] HTTPAnswer lineOfText(http::status status, std::string_view line);

}  // namespace orvik::relay
