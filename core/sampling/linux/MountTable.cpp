#include "core/sampling/linux/MountTable.h"

#include <algorithm>
#include <map>
#include <optional>

#include "core/sampling/linux/TextFields.h"

namespace orvik {

namespace {

bool isOctal(char c) { return c >= '0' && c <= '7'; }

/// The kernel writes blanks, line ends and backslashes as a backslash and three octal digits.
std::string withoutEscapes(std::string_view text) {
  std::string out;
  for (std::size_t i = 0; i < text.size(); ++i) {
    const std::string_view digits = text.substr(i + 1, 3);
    if (text[i] == '\\' && digits.size() == 3 && std::ranges::all_of(digits, isOctal)) {
      out += static_cast<char>((digits[0] - '0') * 64 + (digits[1] - '0') * 8 + (digits[2] - '0'));
      i += 3;
    } else {
      out += text[i];
    }
  }
  return out;
}

/// "36 35 8:2 / /home rw,noatime shared:1 master:2 - ext4 /dev/sda2 rw": any number of optional
/// fields stands before the dash. The source may be empty.
std::optional<Mount> parseLine(std::string_view line) {
  const std::vector<std::string_view> fields = splitAt(line, ' ');
  constexpr std::size_t fixedFields = 6;
  if (fields.size() < fixedFields) {
    return std::nullopt;
  }
  const auto dash = std::find(fields.begin() + fixedFields, fields.end(), "-");
  if (fields.end() - dash < 4 || fields[2].find(':') == std::string_view::npos ||
      !fields[4].starts_with('/')) {
    return std::nullopt;
  }
  return Mount{.device = std::string(fields[2]),
               .root = withoutEscapes(fields[3]),
               .mountPoint = withoutEscapes(fields[4]),
               .fileSystem = withoutEscapes(dash[1]),
               .source = withoutEscapes(dash[2])};
}

}  // namespace

std::vector<Mount> parseMountInfo(std::string_view text) {
  std::vector<Mount> mounts;
  std::map<std::string, std::size_t> lastAt;
  for (const std::string_view line : splitAt(text, '\n')) {
    if (auto mount = parseLine(line)) {
      lastAt[mount->mountPoint] = mounts.size();
      mounts.push_back(std::move(*mount));
    }
  }
  std::vector<Mount> visible;
  for (std::size_t i = 0; i < mounts.size(); ++i) {
    if (lastAt[mounts[i].mountPoint] == i) {
      visible.push_back(std::move(mounts[i]));
    }
  }
  return visible;
}

}  // namespace orvik
