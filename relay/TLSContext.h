#pragma once

#include <openssl/ssl.h>

#include <memory>

#include "relay/Certificate.h"

namespace orvik::relay {

/// What all TLS connections begin with. A connection keeps the one that it began with.
using TLSContext = std::shared_ptr<SSL_CTX>;

/// Makes a context from nothing: TLS 1.2 and 1.3, ciphers that encrypt and authenticate at once,
/// neither renegotiation nor early data nor compression. Throws std::runtime_error when the
/// certificate cannot be used.
[[nodiscard]] TLSContext makeTLSContext(const Certificate& certificate);

}  // namespace orvik::relay
