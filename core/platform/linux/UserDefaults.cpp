#include "core/platform/UserDefaults.h"

#include <cstdlib>
#include <filesystem>

#include "core/BuildConstants.h"
#include "core/platform/UserDefaultsFile.h"

namespace orvik {

namespace {

/// $XDG_CONFIG_HOME/orvik, or ~/.config/orvik where that is not set or not absolute, as the XDG
/// Base Directory rules have it; empty without a home.
std::filesystem::path preferencesFolder() {
  for (const auto& [variable, below] : {std::pair{"XDG_CONFIG_HOME", ""}, {"HOME", ".config"}}) {
    const char* value = std::getenv(variable);
    if (value != nullptr && std::filesystem::path(value).is_absolute()) {
      return std::filesystem::path(value) / below / "orvik";
    }
  }
  return {};
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
