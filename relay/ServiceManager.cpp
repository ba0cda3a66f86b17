#include "relay/ServiceManager.h"

#include <sys/socket.h>
#include <sys/un.h>

#include <charconv>
#include <cstddef>
#include <cstdlib>
#include <cstring>

#include "core/system/FileDescriptor.h"

namespace orvik::relay {

void tellServiceManager(std::string_view state) {
  const char* const variable = std::getenv("NOTIFY_SOCKET");
  const std::string_view path = variable == nullptr ? "" : variable;
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  if (path.empty() || path.size() >= sizeof address.sun_path) {
    return;
  }
  std::memcpy(address.sun_path, path.data(), path.size());
  if (path.front() == '@') {
    // A name without a file.
    address.sun_path[0] = '\0';
  }
  const FileDescriptor descriptor(::socket(AF_UNIX, SOCK_DGRAM, 0));
  const auto size = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + path.size());
  // Nobody can be told when it fails; a service manager that hears nothing acts by itself.
  static_cast<void>(::sendto(descriptor.get(), state.data(), state.size(), MSG_DONTWAIT,
                             reinterpret_cast<const sockaddr*>(&address), size));
}

std::optional<std::chrono::microseconds> watchdogTime() {
  const char* const variable = std::getenv("WATCHDOG_USEC");
  const std::string_view text = variable == nullptr ? "" : variable;
  std::int64_t time = 0;
  const auto [end, failure] = std::from_chars(text.data(), text.data() + text.size(), time);
  return failure == std::errc() && time > 0 ? std::optional(std::chrono::microseconds(time))
                                            : std::nullopt;
}

}  // namespace orvik::relay
