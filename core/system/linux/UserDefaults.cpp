#include "core/system/UserDefaults.h"

#include <filesystem>

#include "core/BuildConstants.h"
#include "core/system/UserDefaultsFile.h"
#include "core/system/linux/BaseFolder.h"

namespace orvik {

namespace {

/// Empty without a home.
std::filesystem::path preferencesFolder() {
  const std::filesystem::path folder = baseFolder("XDG_CONFIG_HOME", ".config");
  return folder.empty() ? folder : folder / "orvik";
}

}  // namespace

std::unique_ptr<UserDefaults> openUserDefaults(const std::optional<std::string>& suite) {
  if (suite && !UserDefaultsFile::isDomain(*suite)) {
    return nullptr;
  }
  return std::make_unique<UserDefaultsFile>(preferencesFolder(),
                                            suite.value_or(build::applicationId));
}

}  // namespace orvik
