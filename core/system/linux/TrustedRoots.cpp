#include "core/system/TrustedRoots.h"

#include <openssl/err.h>
#include <openssl/ssl.h>

#include "core/BuildConstants.h"

namespace orvik {

void trustSystemRoots(SSL_CTX& context) {
  // Where the distribution has told the library to look. A missing file or folder is no failure.
  if (build::isDevelopment) {
    // Or where the environment does.
    static_cast<void>(SSL_CTX_set_default_verify_paths(&context));
  } else {
    static_cast<void>(SSL_CTX_load_verify_file(&context, X509_get_default_cert_file()));
    static_cast<void>(SSL_CTX_load_verify_dir(&context, X509_get_default_cert_dir()));
  }
  ERR_clear_error();
}

}  // namespace orvik
