#include "core/system/HostName.h"

#include <unistd.h>

#include <algorithm>
#include <array>

#include "core/system/linux/HostName.h"
#include "core/system/linux/TextFile.h"
#include "core/values/Text.h"

namespace orvik {

namespace {

/// The value of an assignment as a shell reads it, where nothing is to be expanded.
std::string unquoted(std::string_view value) {
  std::string result;
  char quote = '\0';
  for (std::size_t at = 0; at < value.size(); ++at) {
    const char c = value[at];
    if (quote == '\0' ? c == '"' || c == '\'' : c == quote) {
      quote = quote == '\0' ? c : '\0';
    } else if (c == '\\' && quote != '\'' && at + 1 < value.size()) {
      result += value[++at];
    } else {
      result += c;
    }
  }
  return result;
}

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
  constexpr std::string_view key = "PRETTY_HOSTNAME=";
  std::optional<std::string> name;
  while (!machineInfo.empty()) {
    const std::size_t end = std::min(machineInfo.find('\n'), machineInfo.size());
    const std::string_view line = trimmed(machineInfo.substr(0, end));
    if (line.starts_with(key)) {
      name = presentableName(unquoted(line.substr(key.size())));
    }
    machineInfo.remove_prefix(std::min(end + 1, machineInfo.size()));
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
