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
  const auto count = [&message](std::string_view key) {
    const UntypedValue* value = message.find(key);
    return value == nullptr ? nullptr : value->get<std::int64_t>();
  };
  const std::int64_t* viewers = count("viewers");
  if (viewers == nullptr || *viewers < 0) {
    return std::nullopt;
  }
  const std::int64_t* active = count("active");
  Presence presence;
  presence.viewers = *viewers;
  presence.active =
      std::clamp<std::int64_t>(active == nullptr ? presence.viewers : *active, 0, presence.viewers);
  return presence;
}

}  // namespace orvik
