#pragma once

#include <filesystem>
#include <memory>

#include "core/system/FileOperations.h"
#include "core/system/UserDefaults.h"

namespace orvik {

/// A domain in a file of its own, for systems that have no preferences: a JSON object with the
/// bytes of each key in base64url. A file that is no such object counts as empty, and is left as
/// it is until the next set(); one that cannot be read at all is not replaced.
class UserDefaultsFile final : public UserDefaults {
 public:
  /// The file `domain`.json in `folder`, both created by set(). An empty folder means that there
  /// is no place for preferences: nothing is stored and set() fails.
  UserDefaultsFile(const std::filesystem::path& folder, std::string_view domain,
                   std::shared_ptr<FileOperations> operations = std::make_shared<FileOperations>());

  /// Whether a domain may have this name: not empty, and one path component.
  [[nodiscard]] static bool isDomain(std::string_view name);

  [[nodiscard]] std::optional<std::string> data(std::string_view key) const override;
  [[nodiscard]] bool isReadable() const override;
  [[nodiscard]] bool set(std::string_view key, std::string_view bytes) override;

 private:
  std::filesystem::path path;
  std::shared_ptr<FileOperations> operations;
};

}  // namespace orvik
