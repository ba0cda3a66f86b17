#include "core/values/Base64.h"

#include <openssl/evp.h>

namespace orvik {

std::string base64(ByteView bytes) {
  // Four characters for three bytes, and a zero that the library puts behind them.
  std::string text((bytes.size() + 2) / 3 * 4 + 1, '\0');
  EVP_EncodeBlock(reinterpret_cast<unsigned char*>(text.data()), bytes.data(),
                  static_cast<int>(bytes.size()));
  text.pop_back();
  return text;
}

}  // namespace orvik
