#include "core/system/TrustedRoots.h"

#include <openssl/err.h>
#include <openssl/ssl.h>
#include <openssl/x509.h>

namespace orvik {

void trustSystemRoots(SSL_CTX& context) {
  // Where the distribution has told the library to look, whatever the environment says in its place
  // (SSL_CERT_FILE, SSL_CERT_DIR). A file or folder that is not there is no failure.
  static_cast<void>(SSL_CTX_load_verify_dir(&context, X509_get_default_cert_dir()));
  static_cast<void>(SSL_CTX_load_verify_file(&context, X509_get_default_cert_file()));
  ERR_clear_error();
}

}  // namespace orvik
