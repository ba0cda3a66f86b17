#pragma once

#include <openssl/types.h>

namespace orvik {

/// Has connections that are made with `context` trust the certificate authorities that this system
/// trusts. One that cannot be read is left out: what it has signed is refused.
void trustSystemRoots(SSL_CTX& context);

}  // namespace orvik
