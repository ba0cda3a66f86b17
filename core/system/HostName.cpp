#include "core/system/HostName.h"

#include <algorithm>

#include "core/values/Text.h"

namespace orvik {

namespace {

/// What a pairing link may carry of a name.
constexpr std::size_t longestName = 200;

bool isContinuation(char byte) { return (static_cast<unsigned char>(byte) & 0xC0U) == 0x80U; }

bool isControl(char byte) { return static_cast<unsigned char>(byte) < 0x20 || byte == '\x7f'; }

}  // namespace

std::optional<std::string> presentableName(std::string_view name) {
  if (!isValidUTF8(name) || std::ranges::any_of(name, isControl)) {
    return std::nullopt;
  }
  name = trimmed(name);
  if (name.size() > longestName) {
    std::size_t end = longestName;
    while (isContinuation(name[end])) {
      --end;
    }
    name = trimmed(name.substr(0, end));
  }
  return name.empty() ? std::nullopt : std::optional<std::string>(name);
}

}  // namespace orvik
