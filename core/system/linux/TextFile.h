#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "core/system/FileDescriptor.h"

namespace orvik {

/// A file of proc or sys that is asked for its content again and again: it stays open, and each
/// reading starts at its beginning. A file that fails is opened anew at the next reading.
class TextFile {
 public:
  /// Opens nothing yet.
  explicit TextFile(std::string path) : path(std::move(path)) {}

  /// What the file holds now: as much as `buffer` has room for, and valid as long as `buffer` is.
  /// Nothing when it cannot be read.
  [[nodiscard]] std::optional<std::string_view> read(std::span<char> buffer);
  /// The same of a file that the kernel gives in one piece, without asking whether more follows: an
  /// attribute of sys, or a table of proc that does not consist of entries.
  [[nodiscard]] std::optional<std::string_view> readShort(std::span<char> buffer);
  /// The whole number, perhaps negative, with which the file begins; nothing when there is none or
  /// it does not fit.
  [[nodiscard]] std::optional<std::int64_t> readInteger();

 private:
  using Read = std::optional<std::string_view> (*)(int, std::span<char>);
  [[nodiscard]] std::optional<std::string_view> readBy(Read read, std::span<char> buffer);

  std::string path;
  FileDescriptor file;
};

/// The content of an open file that the kernel gives in one piece: as much as `buffer` has room
/// for. Nothing when it cannot be read.
[[nodiscard]] std::optional<std::string_view> readShort(int file, std::span<char> buffer);

/// The content of a file that is read once, at most `limit` bytes of it. Nothing when it cannot be
/// read.
[[nodiscard]] std::optional<std::string> readText(const std::string& path,
                                                  std::size_t limit = std::size_t{64} * 1024);
/// The same as one line, as the attributes of sys have it: without white space around it. Empty
/// when it cannot be read.
[[nodiscard]] std::string readLine(const std::string& path);

/// The values behind `key` ("NAME=") in a file of assignments that a shell could read, such as
/// /etc/os-release, with quotes and backslashes taken for what they mean there.
[[nodiscard]] std::vector<std::string> assignedValues(std::string_view text, std::string_view key);

/// The path of what is called `name` in a folder.
[[nodiscard]] std::string pathIn(std::string_view folder, std::string_view name);
/// The names in a folder, in the order of their bytes with numbers by value (cpu2 before cpu10).
/// Empty when it cannot be read. At most 4096 of them.
[[nodiscard]] std::vector<std::string> namesIn(const std::string& folder);

}  // namespace orvik
