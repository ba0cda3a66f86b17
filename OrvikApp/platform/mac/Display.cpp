#include "OrvikApp/platform/Display.h"

namespace orvik {

std::optional<std::string> missingDisplay() { return std::nullopt; }

}  // namespace orvik
