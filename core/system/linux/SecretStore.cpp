#include "core/system/SecretStore.h"

#include <sys/stat.h>

#include <algorithm>
#include <array>
#include <cstdlib>

#include "core/system/linux/BaseFolder.h"
#include "core/system/linux/FallbackSecretStore.h"
#include "core/system/linux/SecretFile.h"
#include "core/system/linux/SecretServiceStore.h"
#include "core/system/linux/SystemBus.h"

namespace orvik {

namespace {

/// How long the session bus may take to say what is on it.
constexpr std::chrono::seconds busLimit{5};

/// As the environment names it, else where a session of systemd has it; empty without one.
std::string sessionBusAddress() {
  if (const char* const address = std::getenv("DBUS_SESSION_BUS_ADDRESS")) {
    return address;
  }
  const char* const folder = std::getenv("XDG_RUNTIME_DIR");
  const std::string socket = std::string(folder == nullptr ? "" : folder) + "/bus";
  struct stat status {};
  return stat(socket.c_str(), &status) == 0 && S_ISSOCK(status.st_mode) ? "unix:path=" + socket
                                                                        : "";
}

/// Whether the secret service runs, or would be started when asked.
bool hasSecretService(const std::string& address) {
  if (address.empty()) {
    return false;
  }
  SystemBus bus(address);
  bus.allow(busLimit);
  constexpr std::array methods{"ListNames", "ListActivatableNames"};
  return std::ranges::any_of(methods, [&](const char* method) {
    const auto reply = bus.call({.service = "org.freedesktop.DBus",
                                 .object = "/org/freedesktop/DBus",
                                 .interface = "org.freedesktop.DBus",
                                 .name = method});
    const auto* const names = reply ? reply->get<UntypedValue::List>() : nullptr;
    return names != nullptr && std::ranges::any_of(*names, [](const UntypedValue& name) {
             const auto* const text = name.get<std::string>();
             return text != nullptr && *text == SecretServiceStore::serviceName;
           });
  });
}

}  // namespace

std::shared_ptr<SecretStore> openSecretStore() {
  const std::filesystem::path data = baseFolder("XDG_DATA_HOME", ".local/share");
  auto file = std::make_shared<SecretFile>(data.empty() ? data : data / "orvik");
  if (!hasSecretService(sessionBusAddress())) {
    return file;
  }
  return std::make_shared<FallbackSecretStore>(std::make_shared<SecretServiceStore>(), file);
}

}  // namespace orvik
