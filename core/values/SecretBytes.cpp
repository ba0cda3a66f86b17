#include "core/values/SecretBytes.h"

#include <openssl/crypto.h>

namespace orvik {

void wipe(void* memory, std::size_t size) noexcept { OPENSSL_cleanse(memory, size); }

SecretText& SecretText::operator=(SecretText&& other) noexcept {
  content.swap(other.content);
  return *this;
}

SecretText::~SecretText() {
  // What an earlier, longer text has left behind its end as well. Takes no memory.
  content.resize(content.capacity());
  wipe(content.data(), content.size());
}

}  // namespace orvik
