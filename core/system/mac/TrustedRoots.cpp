#include "core/system/TrustedRoots.h"

#include <CoreFoundation/CoreFoundation.h>
#include <Security/Security.h>
#include <openssl/err.h>
#include <openssl/ssl.h>
#include <openssl/x509.h>

#include "core/system/mac/AutoreleasePool.h"
#include "core/system/mac/Owned.h"
#include "core/values/CHandle.h"

namespace orvik {

namespace {

void trust(X509_STORE& store, CFTypeRef anchor) {
  if (anchor == nullptr || CFGetTypeID(anchor) != SecCertificateGetTypeID()) {
    return;
  }
  // The type was checked: these references are constant or not by their names alone.
  const auto certificate = static_cast<SecCertificateRef>(const_cast<void*>(anchor));
  const Owned<CFDataRef> data(SecCertificateCopyData(certificate));
  if (!data) {
    return;
  }
  const ByteView bytes = bytesOf(data.get());
  const unsigned char* position = bytes.data();
  const CHandle<X509, X509_free> root(
      d2i_X509(nullptr, &position, static_cast<long>(bytes.size())));
  // The store shares it. One that it cannot take is left out.
  if (!root || X509_STORE_add_cert(&store, root.get()) != 1) {
    ERR_clear_error();
  }
}

}  // namespace

void trustSystemRoots(SSL_CTX& context) {
  const AutoreleasePool pool;
  CFArrayRef copied = nullptr;
  const OSStatus status = SecTrustCopyAnchorCertificates(&copied);
  const Owned<CFArrayRef> anchors(copied);
  X509_STORE* store = SSL_CTX_get_cert_store(&context);
  if (status != errSecSuccess || !anchors || store == nullptr) {
    return;
  }
  const CFIndex count = CFArrayGetCount(anchors.get());
  for (CFIndex i = 0; i < count; ++i) {
    trust(*store, CFArrayGetValueAtIndex(anchors.get(), i));
  }
}

}  // namespace orvik
