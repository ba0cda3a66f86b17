#include "core/platform/linux/ConfigurationFolder.h"

#include <cstdlib>
#include <utility>

namespace orvik {

std::filesystem::path configurationFolder() {
  for (const auto& [variable, below] : {std::pair{"XDG_CONFIG_HOME", ""}, {"HOME", ".config"}}) {
    const char* value = std::getenv(variable);
    if (value != nullptr && std::filesystem::path(value).is_absolute()) {
      return std::filesystem::path(value) / below;
    }
  }
  return {};
}

}  // namespace orvik
