#pragma once

#include <memory>

namespace orvik::relay {

/// Calls one of OpenSSL's functions to free an object.
template <auto function>
struct OpenSSLFree {
  template <typename Object>
  void operator()(Object* object) const {
    function(object);
  }
};

/// Owns one of OpenSSL's objects: `OpenSSLHandle<X509, X509_free>`.
template <typename Object, auto function>
using OpenSSLHandle = std::unique_ptr<Object, OpenSSLFree<function>>;

}  // namespace orvik::relay
