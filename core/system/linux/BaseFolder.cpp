#include "core/system/linux/BaseFolder.h"

#include <cstdlib>

namespace orvik {

std::filesystem::path baseFolder(const char* variable, const char* below) {
  for (const auto& [name, rest] : {std::pair{variable, ""}, {"HOME", below}}) {
    const char* const value = std::getenv(name);
    if (value != nullptr && std::filesystem::path(value).is_absolute()) {
      return std::filesystem::path(value) / rest;
    }
  }
  return {};
}

}  // namespace orvik
