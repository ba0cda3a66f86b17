#pragma once

#include <filesystem>
#include <initializer_list>
#include <string>

#include "tests/support/TemporaryFolder.h"

namespace orvik::test {

/// A machine's proc, sys and etc, as files under a temporary folder. Made from texts in
/// tests/fixtures/linux:
///   == proc/loadavg          a file with the lines that follow, up to the next marker
///   =x sys/…/edid            a file with the bytes whose hexadecimal digits follow
///   -> sys/a/b ../target     a symbolic link
///   # …                      at the very top: what machine this is
class FixtureTree {
 public:
  /// The trees of these names, one over another.
  explicit FixtureTree(std::initializer_list<std::string> names);

  [[nodiscard]] std::filesystem::path root() const { return folder.path; }

  /// Writes or replaces one file: what changes from one reading to the next.
  void write(const std::filesystem::path& file, const std::string& content) const;
  void remove(const std::filesystem::path& file) const;

 private:
  TemporaryFolder folder;
};

}  // namespace orvik::test
