#include "core/values/SecretBytes.h"

#include <openssl/crypto.h>

namespace orvik {

void wipe(void* memory, std::size_t size) noexcept { OPENSSL_cleanse(memory, size); }

SecretText::SecretText(std::initializer_list<std::string_view> pieces) {
  std::size_t size = 0;
  for (const std::string_view piece : pieces) {
    size += piece.size();
  }
  content.reserve(size);
  for (const std::string_view piece : pieces) {
    content += piece;
  }
}

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
