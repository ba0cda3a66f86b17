#include "core/platform/UserDefaults.h"

#include "core/BuildConstants.h"
#include "core/platform/UserDefaultsFile.h"
#include "core/platform/linux/ConfigurationFolder.h"

namespace orvik {

std::unique_ptr<UserDefaults> openUserDefaults(const std::optional<std::string>& suite) {
  if (suite && !UserDefaultsFile::isDomain(*suite)) {
    return nullptr;
  }
  const std::filesystem::path folder = configurationFolder();
  return std::make_unique<UserDefaultsFile>(folder.empty() ? folder : folder / "orvik",
                                            suite.value_or(build::applicationId));
}

}  // namespace orvik
