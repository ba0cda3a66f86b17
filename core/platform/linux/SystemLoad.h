#pragma once

#include <cstdint>
#include <string>

namespace orvik {

/// When the machine was started, whole seconds since 1970, as `root`/proc/stat has it; 0 when
/// unknown.
[[nodiscard]] std::int64_t readBootEpoch(const std::string& root);

}  // namespace orvik
