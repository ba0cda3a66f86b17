#pragma once

#include <memory>

#include "core/system/SecretStore.h"

namespace orvik {

/// A store of secrets with another in reserve. What is in the reserve is found until the first
/// store has it, since a service for secrets may come later than the first secret; and what the
/// first cannot keep goes there.
class FallbackSecretStore final : public SecretStore {
 public:
  FallbackSecretStore(std::shared_ptr<SecretStore> first, std::shared_ptr<SecretStore> reserve);

  [[nodiscard]] std::optional<Bytes> find(const Key& key) override;
  bool remove(const Key& key) override;
  /// Uses the reserve only where the first store has no item left that would be found instead.
  [[nodiscard]] bool add(const Key& key, std::string_view label, ByteView data) override;

 private:
  std::shared_ptr<SecretStore> first;
  std::shared_ptr<SecretStore> reserve;
};

}  // namespace orvik
