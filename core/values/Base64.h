#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "core/values/Bytes.h"

namespace orvik {

/// Standard base64 with padding and without line breaks (RFC 4648, section 4): pictures in samples.
[[nodiscard]] std::string base64(ByteView bytes);

/// base64url without padding (RFC 4648, section 5): how every binary value stands in the link and
/// on the wire.
[[nodiscard]] std::string base64URL(ByteView bytes);

/// Appends the base64url text of `bytes`.
void appendBase64URL(ByteView bytes, std::string& out);

/// The bytes of a base64url text, padded or not; the standard alphabet's "+" and "/" are read
/// too. Strict otherwise: nothing for foreign characters, line breaks, wrong padding and unused
/// bits that are not zero, so that no two unpadded base64url texts give the same bytes.
[[nodiscard]] std::optional<Bytes> bytesFromBase64URL(std::string_view text);

}  // namespace orvik
