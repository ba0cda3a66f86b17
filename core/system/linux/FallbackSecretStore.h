#pragma once

#include <memory>

#include "core/system/SecretStore.h"

namespace orvik {

/// A store of secrets with another to fall back to. What is in the second is found until the first
/// has it, since a service for secrets may come later than the first secret, and may be out of
/// order; and what the first cannot keep goes there.
class FallbackSecretStore final : public SecretStore {
 public:
  FallbackSecretStore(std::shared_ptr<SecretStore> first, std::shared_ptr<SecretStore> second);

  [[nodiscard]] std::optional<Bytes> find(const Key& key) override;
  /// Removes from both or, when one of them refuses, from neither: what is left behind alone would
  /// be found again.
  bool remove(const Key& key) override;
  /// Uses the second only where the first has no item left that would be found instead.
  [[nodiscard]] bool add(const Key& key, std::string_view label, ByteView data) override;

 private:
  std::shared_ptr<SecretStore> first;
  std::shared_ptr<SecretStore> second;
};

}  // namespace orvik
