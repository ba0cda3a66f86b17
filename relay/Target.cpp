#include "relay/Target.h"

#include <algorithm>

#include "core/values/Base64.h"

namespace orvik::relay {

std::optional<Target> Target::of(std::string_view path) {
  const std::size_t lastSlash = path.rfind('/');
  if (lastSlash == std::string_view::npos) {
    return std::nullopt;
  }
  const std::string_view name = path.substr(lastSlash + 1);
  const std::string_view place = path.substr(0, lastSlash);
  Target target{};
  if (place.ends_with("/v1/mac")) {
    target.role = Role::mac;
  } else if (place.ends_with("/v1/phone")) {
    target.role = Role::phone;
  } else {
    return std::nullopt;
  }
  const std::optional<Bytes> bytes = bytesFromBase64URL(name);
  // The reader also takes padding and the standard alphabet; one Mac has one path.
  if (!bytes || bytes->size() != target.identifier.size() || base64URL(*bytes) != name) {
    return std::nullopt;
  }
  std::ranges::copy(*bytes, target.identifier.begin());
  return target;
}

}  // namespace orvik::relay
