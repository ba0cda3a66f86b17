// Own code: relay/ClientMessage relay/Target relay/push/Endpoint
#include <cstdlib>

#include "relay/ClientMessage.h"
#include "relay/Target.h"
#include "relay/push/Endpoint.h"

/// A client's message says one thing at most, and whatever is taken out of it keeps its bounds.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace orvik::relay;
  constexpr std::size_t longestEndpoint = 512;
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  const auto subscribe = Subscribe::in(text, longestEndpoint);
  if (subscribe && subscribe->subscription) {
    const std::string& endpoint = subscribe->subscription->endpoint;
    const auto place = Endpoint::of(endpoint, longestEndpoint);
    if (endpoint.size() > longestEndpoint || !place || place->host.empty() ||
        !Endpoint::of(place->origin(), longestEndpoint)) {
      std::abort();
    }
  }
  const auto mark = AlertMark::in(text);
  if (mark && mark->topic.size() > 32) {
    std::abort();
  }
  if (isRevocation(text) && isAlert(text)) {
    std::abort();
  }
  static_cast<void>(Authentication::in(text));
  static_cast<void>(activeIn(text));
  static_cast<void>(unsubscribeIn(text));
  static_cast<void>(Endpoint::of(text, longestEndpoint));
  const auto target = Target::of(text);
  if (target && text.find("/v1/") == std::string_view::npos) {
    std::abort();
  }
  return 0;
}
