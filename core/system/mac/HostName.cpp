#include "core/system/HostName.h"

#include <CoreFoundation/CoreFoundation.h>
#include <SystemConfiguration/SystemConfiguration.h>

#include <array>

#include "core/system/mac/Owned.h"

namespace orvik {

namespace {

/// Four times what is shown of a name, and a zero byte. A longer one nobody has given.
constexpr std::size_t room = 801;

}  // namespace

std::optional<std::string> localizedHostName() {
  const Owned<CFStringRef> copied(SCDynamicStoreCopyComputerName(nullptr, nullptr));
  std::array<char, room> buffer{};
  if (!copied ||
      CFStringGetCString(copied.get(), buffer.data(), static_cast<CFIndex>(buffer.size()),
                         kCFStringEncodingUTF8) == 0) {
    return std::nullopt;
  }
  return presentableName(buffer.data());
}

}  // namespace orvik
