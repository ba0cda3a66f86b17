#pragma once

#include "core/sampling/PowerGuard.h"
#include "core/values/JSONValue.h"
#include "core/values/UntypedValue.h"

namespace orvik::SamplerParsing {

/// One line of macmon: the fifteen processor keys. A missing number counts as 0. Power passes the
/// guard. Knows the names that the members have had in the tool's versions.
[[nodiscard]] JSONObject macmon(const UntypedValue::Map& line, PowerGuard& guard);

}  // namespace orvik::SamplerParsing
