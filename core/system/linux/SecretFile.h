#pragma once

#include <filesystem>

#include "core/system/SecretStore.h"

namespace orvik {

/// Secrets in files that this user alone may read, for systems without a service for them: one
/// file for each item, its data as it is. One that others may read or write is not read; one that
/// is not this user's, or a link, is none.
class SecretFile final : public SecretStore {
 public:
  /// Files in `folder`, which is created with the first. An empty folder means that there is no
  /// place for secrets: nothing is found and nothing can be added.
  explicit SecretFile(std::filesystem::path folder);

  [[nodiscard]] std::string name() const override { return "file"; }
  [[nodiscard]] std::optional<Bytes> find(const Key& key) override;
  bool remove(const Key& key) override;
  [[nodiscard]] bool add(const Key& key, std::string_view label, ByteView data) override;
  /// Never locked.
  bool unlock(const Key& /*key*/) override { return false; }

 private:
  /// Empty when there is no place for the item.
  [[nodiscard]] std::filesystem::path fileOf(const Key& key) const;

  std::filesystem::path folder;
};

}  // namespace orvik
