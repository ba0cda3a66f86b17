#include "core/system/AccountLock.h"

#include <cstdlib>

namespace orvik {

std::filesystem::path accountFolder() {
  const char* const home = std::getenv("HOME");
  return home == nullptr || *home != '/'
             ? std::filesystem::path()
             : std::filesystem::path(home) / "Library/Application Support/Orvik";
}

}  // namespace orvik
