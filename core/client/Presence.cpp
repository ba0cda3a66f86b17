#include "core/client/Presence.h"

#include <algorithm>

#include "core/values/JSONReader.h"

namespace orvik {

std::optional<Presence> Presence::fromRelay(std::string_view text) {
  UntypedValue message;
  try {
    message = readJSON(text);
  } catch (const JSONError&) {
    return std::nullopt;
  }
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

}  // namespace orvik
