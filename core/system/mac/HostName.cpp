#include "core/system/HostName.h"

#include <CoreFoundation/CoreFoundation.h>
#include <SystemConfiguration/SystemConfiguration.h>

#include <algorithm>
#include <array>

#include "core/system/mac/Owned.h"

namespace orvik {

namespace {

/// What a pairing link may carry of a name, and a zero byte.
constexpr std::size_t longestName = 201;

bool isControl(char byte) { return static_cast<unsigned char>(byte) < 0x20 || byte == '\x7f'; }

}  // namespace

std::optional<std::string> localizedHostName() {
  const Owned<CFStringRef> copied(SCDynamicStoreCopyComputerName(nullptr, nullptr));
  std::array<char, longestName> buffer{};
  // A name that does not fit is refused as a whole: nobody has given such a one.
  if (!copied ||
      CFStringGetCString(copied.get(), buffer.data(), static_cast<CFIndex>(buffer.size()),
                         kCFStringEncodingUTF8) == 0) {
    return std::nullopt;
  }
  std::string name = buffer.data();
  if (name.empty() || std::ranges::any_of(name, isControl)) {
    return std::nullopt;
  }
  return name;
}

}  // namespace orvik
