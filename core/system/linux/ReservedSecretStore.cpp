#include "core/system/linux/ReservedSecretStore.h"

#include <utility>

namespace orvik {

ReservedSecretStore::ReservedSecretStore(std::shared_ptr<SecretStore> first,
                                         std::shared_ptr<SecretStore> reserve)
    : first(std::move(first)), reserve(std::move(reserve)) {}

std::optional<Bytes> ReservedSecretStore::find(const Key& key) {
  auto found = first->find(key);
  return found ? std::move(found) : reserve->find(key);
}

bool ReservedSecretStore::remove(const Key& key) {
  const bool isRemoved = first->remove(key);
  return reserve->remove(key) && isRemoved;
}

bool ReservedSecretStore::add(const Key& key, std::string_view label, ByteView data) {
  // A locked store keeps what it has.
  const bool isEmpty = first->remove(key);
  return first->add(key, label, data) || (isEmpty && reserve->add(key, label, data));
}

}  // namespace orvik
