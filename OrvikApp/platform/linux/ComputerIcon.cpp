#include "OrvikApp/platform/ComputerIcon.h"

namespace orvik {

// The readings bring one, for programs without a display too.
std::optional<std::string> computerIcon() { return std::nullopt; }

}  // namespace orvik
