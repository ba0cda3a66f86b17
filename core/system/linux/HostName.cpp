#include "core/system/HostName.h"

#include <unistd.h>

#include <array>

#include "core/system/linux/HostName.h"
#include "core/system/linux/TextFile.h"

namespace orvik {

namespace {

std::optional<std::string> firstLabel() {
  std::array<char, 256> buffer{};
  // Its last byte stays zero: a name that fills the rest need not be ended by the call.
  if (gethostname(buffer.data(), buffer.size() - 1) != 0) {
    return std::nullopt;
  }
  const std::string_view name(buffer.data());
  return presentableName(name.substr(0, name.find('.')));
}

}  // namespace

std::optional<std::string> prettyHostName(std::string_view machineInfo) {
  std::optional<std::string> name;
  for (const std::string& value : assignedValues(machineInfo, "PRETTY_HOSTNAME=")) {
    name = presentableName(value);
  }
  return name;
}

// The file that the host name service keeps is read instead of asking the service, which may have
// to be started first.
std::optional<std::string> localizedHostName() {
  const auto pretty = prettyHostName(readText("/etc/machine-info").value_or(""));
  return pretty ? pretty : firstLabel();
}

}  // namespace orvik
