#pragma once

#include <filesystem>
#include <fstream>
#include <string>

namespace orvik::test {

/// A folder of its own for a test, removed at its end.
struct TemporaryFolder {
  TemporaryFolder() {
    std::string name = (std::filesystem::temp_directory_path() / "orvik-XXXXXX").string();
    if (mkdtemp(name.data()) == nullptr) {
      std::abort();
    }
    path = name;
  }
  TemporaryFolder(const TemporaryFolder&) = delete;
  TemporaryFolder& operator=(const TemporaryFolder&) = delete;
  ~TemporaryFolder() { std::filesystem::remove_all(path); }

  /// Writes a file into it.
  std::filesystem::path write(const std::string& name, const std::string& content) const {
    std::ofstream(path / name, std::ios::binary) << content;
    return path / name;
  }

  std::filesystem::path path;
};

}  // namespace orvik::test
