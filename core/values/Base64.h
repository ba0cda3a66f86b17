#pragma once

#include <string>

#include "core/values/Bytes.h"

namespace orvik {

/// Standard base64 with padding and without line breaks (RFC 4648, section 4): pictures in samples.
[[nodiscard]] std::string base64(ByteView bytes);

}  // namespace orvik
