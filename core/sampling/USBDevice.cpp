#include "core/sampling/USBDevice.h"

#include <algorithm>

#include "core/values/JSONMembers.h"

namespace orvik::ConnectionsParsing {

JSONValue USBDevice::json() const {
  return JSONObject{{"name", name}, {"maker", orNull(maker)}, {"speed", orNull(speed)},
                    {"kind", kind}, {"storage", storage},     {"volume", orNull(volume)}};
}

std::optional<std::string_view> kindOfUSBClass(std::optional<std::int64_t> code) {
  const auto* const known = std::ranges::find(usbKinds, code, &USBKind::classCode);
  return known == usbKinds.end() ? std::nullopt : std::optional(known->kind);
}

}  // namespace orvik::ConnectionsParsing
