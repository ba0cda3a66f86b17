#include "core/pairing/PairingStore.h"

#include <algorithm>
#include <utility>

#include "core/BuildConstants.h"

namespace orvik {

namespace {

constexpr std::size_t storedSize = Pairing::macIdSize + Pairing::secretSize;

SecretStore::Key itemKey() { return {.service = build::applicationId, .account = "pairing"}; }

/// Bytes that are overwritten at their end.
struct WipedBytes {
  explicit WipedBytes(Bytes secret) : bytes(std::move(secret)) {}
  WipedBytes(const WipedBytes&) = delete;
  WipedBytes& operator=(const WipedBytes&) = delete;
  ~WipedBytes() { wipe(bytes.data(), bytes.size()); }

  Bytes bytes;
};

}  // namespace

std::optional<Pairing> PairingStore::find(SecretStore& store) {
  auto found = store.find(itemKey());
  if (!found) {
    return std::nullopt;
  }
  const WipedBytes stored(*std::move(found));
  const ByteView bytes = stored.bytes;
  if (bytes.size() != storedSize) {
    return std::nullopt;
  }
  return Pairing(bytes.first<Pairing::macIdSize>(), bytes.last<Pairing::secretSize>());
}

std::optional<Pairing> PairingStore::load(SecretStore& store) {
  try {
    return find(store);
  } catch (const SecretStore::Unreadable&) {
    return std::nullopt;
  }
}

bool PairingStore::save(SecretStore& store, const Pairing& pairing) {
  WipedBytes stored{Bytes(storedSize)};
  const auto rest = std::ranges::copy(pairing.macId(), stored.bytes.begin()).out;
  std::ranges::copy(pairing.secret().data(), rest);
  // Replaced, never changed in place. Whether there was one to remove does not matter.
  store.remove(itemKey());
  return store.add(itemKey(), "Orvik pairing", stored.bytes);
}

Pairing PairingStore::loadOrCreate(SecretStore& store) {
  if (auto stored = load(store)) {
    return *std::move(stored);
  }
  Pairing created = Pairing::generate();
  save(store, created);
  return created;
}

}  // namespace orvik
