#include "core/client/Presence.h"

#include <algorithm>

#include "core/values/JSONReader.h"

namespace orvik {

std::optional<Presence> Presence::fromRelay(std::string_view text) {
  const UntypedValue message = readJSONOrNull(text);
  const auto* viewers = message.get<std::int64_t>("viewers");
  if (viewers == nullptr || *viewers < 0) {
    return std::nullopt;
  }
  const auto* active = message.get<std::int64_t>("active");
  Presence presence;
  presence.viewers = *viewers;
  presence.active =
      std::clamp<std::int64_t>(active == nullptr ? presence.viewers : *active, 0, presence.viewers);
  return presence;
}

std::optional<std::uint64_t> safeAlertsFromRelay(std::string_view text) {
  const UntypedValue message = readJSONOrNull(text);
  const auto* count = message.get<std::int64_t>("safe");
  return count == nullptr || *count < 0 ? std::nullopt
                                        : std::optional(static_cast<std::uint64_t>(*count));
}

bool saysThatItPushes(std::string_view text) {
  const UntypedValue message = readJSONOrNull(text);
  const auto* pushes = message.get<bool>("push");
  return pushes != nullptr && *pushes;
}

}  // namespace orvik
