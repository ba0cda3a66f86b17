#include "relay/HTTPAnswer.h"

#include <boost/beast/http/rfc7230.hpp>

#include <algorithm>

namespace orvik::relay {

namespace {

using http::field;
using http::status;

boost::beast::span<const char> bodyOf(std::string_view text) { return {text.data(), text.size()}; }

bool takesGzip(const http::request<http::empty_body>& request) {
  for (const auto& [coding, parameters] : http::ext_list(request[field::accept_encoding])) {
    if (boost::beast::iequals(coding, "gzip")) {
      // A weight of nothing forbids it.
      return std::none_of(parameters.begin(), parameters.end(), [](const auto& parameter) {
        return parameter.first == "q" &&
               parameter.second.find_first_not_of("0.") == boost::beast::string_view::npos;
      });
    }
  }
  return false;
}

/// Whether the client says that it has these bytes already. A tag with its quotes stands in the
/// list or nowhere: neither is in another tag.
bool has(const http::request<http::empty_body>& request, const Page::Content& content) {
  const std::string_view known = viewOf(request[field::if_none_match]);
  return known == "*" || known.find(content.tag) != std::string_view::npos;
}

void protect(HTTPAnswer& answer, const std::string& policy, bool overTLS) {
  answer.set("Content-Security-Policy", policy);
  answer.set("X-Content-Type-Options", "nosniff");
  answer.set("Referrer-Policy", "no-referrer");
  answer.set(
      "Permissions-Policy",
      "camera=(self), microphone=(), geolocation=(), display-capture=(), payment=(), usb=(), "
      "serial=(), hid=(), midi=(), accelerometer=(), gyroscope=(), "
      "magnetometer=()");
  answer.set("Cross-Origin-Opener-Policy", "same-origin");
  answer.set("Cross-Origin-Resource-Policy", "same-origin");
  if (overTLS) {
    // A year. For this host alone: others below its name may have no certificate.
    answer.set(field::strict_transport_security, "max-age=31536000");
  }
}

HTTPAnswer fileAnswer(const http::request<http::empty_body>& request, const Page::File& file) {
  const Page::Content& content = file.packed && takesGzip(request) ? *file.packed : file.plain;
  HTTPAnswer answer(has(request, content) ? status::not_modified : status::ok, 11);
  answer.set(field::etag, content.tag);
  answer.set(field::vary, "Accept-Encoding");
  answer.set(field::cache_control,
             file.isHashed ? "public, max-age=31536000, immutable" : "no-cache");
  if (answer.result() == status::ok) {
    answer.set(field::content_type, file.type);
    if (&content != &file.plain) {
      answer.set(field::content_encoding, "gzip");
    }
    answer.body() = bodyOf(content.bytes);
  }
  return answer;
}

HTTPAnswer chosen(const http::request<http::empty_body>& request, const Page* page) {
  const std::string_view target = viewOf(request.target());
  const bool reads = request.method() == http::verb::get || request.method() == http::verb::head;
  const Page::File* const file = page == nullptr ? nullptr : page->find(target);
  if (file != nullptr && !reads) {
    HTTPAnswer refusal = lineOfText(status::method_not_allowed, "method not allowed\n");
    refusal.set(field::allow, "GET, HEAD");
    return refusal;
  }
  if (file != nullptr) {
    return fileAnswer(request, *file);
  }
  if (reads && target == "/healthz") {
    return lineOfText(status::ok, "ok\n");
  }
  return lineOfText(status::not_found, "not found\n");
}

}  // namespace

HTTPAnswer answerTo(const http::request<http::empty_body>& request, const Page* page,
                    bool overTLS) {
  HTTPAnswer answer = chosen(request, page);
  if (page != nullptr) {
    protect(answer, page->policy(viewOf(request[field::host])), overTLS);
  }
  answer.prepare_payload();
  if (request.method() == http::verb::head) {
    // The header goes on saying how long it would be.
    answer.body() = {};
  }
  return answer;
}

HTTPAnswer monitoringAnswer(const http::request<http::empty_body>& request,
                            const std::function<std::string()>& metrics,
                            const std::function<std::optional<std::string>()>& notReady,
                            std::string& body) {
  const std::string_view target = viewOf(request.target());
  if (request.method() != http::verb::get) {
    body = "method not allowed\n";
    return lineOfText(status::method_not_allowed, body);
  }
  if (target == "/metrics") {
    body = metrics();
    HTTPAnswer answer = lineOfText(status::ok, body);
    answer.set(field::content_type, "text/plain; version=0.0.4; charset=utf-8");
    return answer;
  }
  if (target == "/readyz") {
    const std::optional<std::string> reason = notReady();
    body = (reason ? *reason : std::string("ok")) + "\n";
    return lineOfText(reason ? status::service_unavailable : status::ok, body);
  }
  body = target == "/healthz" ? "ok\n" : "not found\n";
  return lineOfText(target == "/healthz" ? status::ok : status::not_found, body);
}

HTTPAnswer lineOfText(http::status status, std::string_view line) {
  HTTPAnswer answer(status, 11);
  answer.set(field::content_type, "text/plain");
  answer.body() = bodyOf(line);
  answer.prepare_payload();
  return answer;
}

}  // namespace orvik::relay
