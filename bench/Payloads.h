#pragma once

#include "core/values/JSONValue.h"

namespace orvik::bench {

/// A live sample of a laptop with its usual company, some 4 KiB as text.
[[nodiscard]] JSONValue liveSample();

/// The history after a full day: 1439 minutes.
[[nodiscard]] JSONValue fullHistory();

}  // namespace orvik::bench
