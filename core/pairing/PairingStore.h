#pragma once

#include <optional>

#include "core/pairing/Pairing.h"
#include "core/system/SecretStore.h"

namespace orvik {

/// Keeps the one pairing of this computer among the user's secrets, so that a phone stays paired
/// across restarts. A pairing that cannot be kept still works until the program ends.
struct PairingStore {
  /// The stored pairing. Nothing when there is none, or when what is stored is not a pairing's 48
  /// bytes. Throws SecretStore::Unreadable when nobody can say: a program that goes on with a new
  /// one then loses its phones.
  [[nodiscard]] static std::optional<Pairing> find(SecretStore& store);

  /// The same, and nothing when it cannot be read.
  [[nodiscard]] static std::optional<Pairing> load(SecretStore& store);

  /// Replaces the stored pairing. Returns whether it is stored now.
  static bool save(SecretStore& store, const Pairing& pairing);

  /// The stored pairing, else a new one, which is stored where that is possible. To be called only
  /// after `find`: what cannot be read counts as absent here.
  [[nodiscard]] static Pairing loadOrCreate(SecretStore& store);
};

}  // namespace orvik
