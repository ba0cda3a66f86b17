#pragma once

#include "core/values/JSONValue.h"

namespace orvik {

/// Makes readings small enough for the relay whatever the machine's tools and devices say: lists of
/// at most 64 entries, texts of at most 128 bytes (never cut within a code point), and pictures
/// (under "icon_png") of at most 48 KiB, or none.
void keepWithinBounds(JSONObject& readings);

}  // namespace orvik
