// Own code: core/pairing/Envelope core/values/Base64
#include "core/pairing/Envelope.h"

#include <cstdlib>

#include "core/values/JSONReader.h"

/// No text that was not sealed opens.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace orvik;
  static const Pairing pairing = Pairing::generate();
  try {
    (void)Envelope::open({reinterpret_cast<const char*>(data), size}, pairing);
    std::abort();
  } catch (const std::runtime_error&) {
  }
  return 0;
}
