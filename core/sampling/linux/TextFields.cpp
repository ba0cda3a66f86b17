#include "core/sampling/linux/TextFields.h"

#include <algorithm>

namespace orvik {

namespace {

constexpr std::string_view whiteSpace = " \t\r\n\v\f";

}  // namespace

std::vector<std::string_view> splitAt(std::string_view text, char separator) {
  std::vector<std::string_view> parts;
  for (std::size_t start = 0; start <= text.size();) {
    const std::size_t end = std::min(text.find(separator, start), text.size());
    parts.push_back(text.substr(start, end - start));
    start = end + 1;
  }
  return parts;
}

std::vector<std::string_view> fieldsOf(std::string_view line) {
  std::vector<std::string_view> fields;
  for (std::size_t start = line.find_first_not_of(whiteSpace); start != std::string_view::npos;) {
    const std::size_t end = std::min(line.find_first_of(whiteSpace, start), line.size());
    fields.push_back(line.substr(start, end - start));
    start = line.find_first_not_of(whiteSpace, end);
  }
  return fields;
}

}  // namespace orvik
