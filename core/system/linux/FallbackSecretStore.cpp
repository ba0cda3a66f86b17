#include "core/system/linux/FallbackSecretStore.h"

#include <utility>

#include "core/values/SecretBytes.h"

namespace orvik {

FallbackSecretStore::FallbackSecretStore(std::shared_ptr<SecretStore> first,
                                         std::shared_ptr<SecretStore> second)
    : first(std::move(first)), second(std::move(second)) {}

std::optional<Bytes> FallbackSecretStore::find(const Key& key) {
  try {
    if (auto found = first->find(key)) {
      return found;
    }
  } catch (const Unreadable&) {
    auto found = second->find(key);
    if (!found) {
      throw;
    }
    return found;
  }
  return second->find(key);
}

bool FallbackSecretStore::remove(const Key& key) {
  std::optional<Bytes> kept;
  try {
    kept = second->find(key);
  } catch (const Unreadable&) {
    // Then it cannot be put back either.
    return false;
  }
  bool isRemoved = second->remove(key);
  if (isRemoved && !first->remove(key)) {
    isRemoved = false;
    // Nothing more can be done when this fails.
    static_cast<void>(!kept || second->add(key, {}, *kept));
  }
  if (kept) {
    wipe(kept->data(), kept->size());
  }
  return isRemoved;
}

bool FallbackSecretStore::add(const Key& key, std::string_view label, ByteView data) {
  // A locked store keeps what it has.
  const bool isEmpty = first->remove(key);
  if (first->add(key, label, data)) {
    second->remove(key);
    return true;
  }
  return isEmpty && second->add(key, label, data);
}

}  // namespace orvik
