#include "core/system/linux/FallbackSecretStore.h"

#include <utility>

namespace orvik {

FallbackSecretStore::FallbackSecretStore(std::shared_ptr<SecretStore> first,
                                         std::shared_ptr<SecretStore> reserve)
    : first(std::move(first)), reserve(std::move(reserve)) {}

std::optional<Bytes> FallbackSecretStore::find(const Key& key) {
  auto found = first->find(key);
  return found ? std::move(found) : reserve->find(key);
}

bool FallbackSecretStore::remove(const Key& key) {
  const bool isRemoved = first->remove(key);
  return reserve->remove(key) && isRemoved;
}

bool FallbackSecretStore::add(const Key& key, std::string_view label, ByteView data) {
  // A locked store keeps what it has.
  const bool isEmpty = first->remove(key);
  return first->add(key, label, data) || (isEmpty && reserve->add(key, label, data));
}

}  // namespace orvik
