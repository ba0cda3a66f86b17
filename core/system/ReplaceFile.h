#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

#include "core/system/FileOperations.h"

namespace orvik {

/// Longer files are none of ours and are not read: 1 MiB, a thousand times what is stored.
inline constexpr std::size_t longestFile = 1'048'576;

struct FileRead {
  std::optional<std::string> content = {};
  /// Why there is no content: an errno value, EFBIG for more than longestFile bytes.
  int error = 0;
};

/// Reads a whole file, at most longestFile bytes. Only ordinary files are read, so that it never
/// waits.
[[nodiscard]] FileRead readFile(const std::filesystem::path& path, FileOperations& operations);

/// Replaces a file, or creates it, as a whole: whatever fails, and whenever the machine stops, the
/// path holds all of the old bytes or all of the new ones. Only this user may read the new file.
/// Returns when the bytes are on the disk; false when a step failed, after which either may be
/// there.
[[nodiscard]] bool replaceFile(const std::filesystem::path& path, std::string_view bytes,
                               FileOperations& operations);

/// Creates a folder and those above it that are missing, for this user alone. Whether it is there
/// now.
[[nodiscard]] bool makeFolders(const std::filesystem::path& folder, FileOperations& operations);

}  // namespace orvik
