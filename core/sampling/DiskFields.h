#pragma once

#include "core/values/JSONValue.h"

namespace orvik {

/// "disk_pct" (per cent used, 1 decimal) and "disk_free_gb" (10^9 bytes, nearest, ties to even) of
/// a file system of `total` bytes with `free` bytes for the user; empty when `total` is below 1.
[[nodiscard]] JSONObject diskFields(double total, double free);

}  // namespace orvik
