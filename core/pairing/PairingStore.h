#pragma once

#include <optional>

#include "core/pairing/Pairing.h"
#include "core/system/SecretStore.h"

namespace orvik {

/// Keeps the one pairing of this computer among the user's secrets, so that a phone stays paired
/// across restarts. Failures are absorbed: a pairing that cannot be kept still works until the
/// program ends.
struct PairingStore {
  /// The stored pairing. Nothing when there is none, when it cannot be read, or when what is stored
  /// is not a pairing's 48 bytes.
  [[nodiscard]] static std::optional<Pairing> load(SecretStore& store);

  /// Replaces the stored pairing. Returns whether it is stored now.
  static bool save(SecretStore& store, const Pairing& pairing);

  /// The stored pairing, else a new one, which is stored where that is possible.
  [[nodiscard]] static Pairing loadOrCreate(SecretStore& store);
};

}  // namespace orvik
