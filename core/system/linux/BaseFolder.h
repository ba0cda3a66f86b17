#pragma once

#include <filesystem>

namespace orvik {

/// Where a user's files of one kind belong by the XDG Base Directory rules: the folder that the
/// environment variable names, else `below` the home folder. A name that is not absolute counts as
/// none. Empty when there is no home either.
[[nodiscard]] std::filesystem::path baseFolder(const char* variable, const char* below);

}  // namespace orvik
