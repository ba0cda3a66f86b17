#include "core/sampling/mac/Sysctl.h"

#include <sys/sysctl.h>
#include <sys/time.h>

#include <cstring>

#include "core/values/Text.h"

namespace orvik::Sysctl {

namespace {

/// Longer than any name or version; nothing that claims more is one.
constexpr std::size_t longestText = 4096;

}  // namespace

std::optional<std::string> text(const std::string& name) {
  std::size_t size = 0;
  if (sysctlbyname(name.c_str(), nullptr, &size, nullptr, 0) != 0 || size > longestText) {
    return std::nullopt;
  }
  std::string value(size, '\0');
  if (sysctlbyname(name.c_str(), value.data(), &size, nullptr, 0) != 0 || size > value.size()) {
    return std::nullopt;
  }
  value.resize(size);
  return repairedUTF8(value.substr(0, value.find('\0')));
}

std::optional<std::int64_t> integer(const std::string& name) {
  std::int64_t wide = 0;
  std::size_t size = sizeof wide;
  if (sysctlbyname(name.c_str(), &wide, &size, nullptr, 0) != 0) {
    return std::nullopt;
  }
  if (size == sizeof wide) {
    return wide;
  }
  std::int32_t narrow = 0;
  if (size != sizeof narrow) {
    return std::nullopt;
  }
  std::memcpy(&narrow, &wide, sizeof narrow);
  return narrow;
}

std::optional<Clock::UnixTime> bootTime() {
  timeval time{};
  std::size_t size = sizeof time;
  if (sysctlbyname("kern.boottime", &time, &size, nullptr, 0) != 0 || size != sizeof time) {
    return std::nullopt;
  }
  return Clock::UnixTime(std::chrono::seconds(time.tv_sec) +
                         std::chrono::microseconds(time.tv_usec));
}

}  // namespace orvik::Sysctl
