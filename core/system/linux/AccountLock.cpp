#include "core/system/AccountLock.h"

#include "core/system/linux/BaseFolder.h"

namespace orvik {

std::filesystem::path accountFolder() {
  // With the preferences, which a service may write to whatever else it may.
  const std::filesystem::path folder = baseFolder("XDG_CONFIG_HOME", ".config");
  return folder.empty() ? folder : folder / "orvik";
}

}  // namespace orvik
