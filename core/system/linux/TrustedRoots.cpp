#include "core/system/TrustedRoots.h"

#include <openssl/ssl.h>

namespace orvik {

void trustSystemRoots(SSL_CTX& context) {
  // Where the distribution has told the library to look. A missing folder is no failure.
  static_cast<void>(SSL_CTX_set_default_verify_paths(&context));
}

}  // namespace orvik
