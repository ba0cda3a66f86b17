#include "core/system/UserDefaults.h"

#include "core/BuildConstants.h"
#include "core/system/AccountLock.h"
#include "core/system/UserDefaultsFile.h"

namespace orvik {

std::unique_ptr<UserDefaults> openUserDefaults(const std::optional<std::string>& suite) {
  if (suite && !UserDefaultsFile::isDomain(*suite)) {
    return nullptr;
  }
  return std::make_unique<UserDefaultsFile>(accountFolder(), suite.value_or(build::applicationId));
}

}  // namespace orvik
