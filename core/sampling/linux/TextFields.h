#pragma once

#include <string_view>
#include <vector>

namespace orvik {

/// What stands between single separators, empty pieces included; views of the text.
[[nodiscard]] std::vector<std::string_view> splitAt(std::string_view text, char separator);

/// The fields of a line, however many blanks stand between them; views of the line.
[[nodiscard]] std::vector<std::string_view> fieldsOf(std::string_view line);

}  // namespace orvik
