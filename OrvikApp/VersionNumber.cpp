#include "OrvikApp/VersionNumber.h"

#include <algorithm>

namespace orvik {

namespace {

constexpr std::size_t longestVersion = 64;

bool isDigit(char c) { return c >= '0' && c <= '9'; }
bool isLetter(char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z'); }
bool isOfVersion(char c) { return isDigit(c) || isLetter(c) || c == '.' || c == '-' || c == '+'; }
char lower(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; }

/// Takes the characters that belong together from the front of a text.
std::string takeWhile(std::string_view& text, bool (*belongs)(char)) {
  const auto end = std::ranges::find_if_not(text, belongs);
  std::string taken(text.begin(), end);
  text.remove_prefix(taken.size());
  return taken;
}

std::string takeNumber(std::string_view& text) {
  const std::string digits = takeWhile(text, isDigit);
  return digits.substr(std::min(digits.find_first_not_of('0'), digits.size() - 1));
}

/// Numbers by value, words by their letters, and numbers before words.
std::strong_ordering comparePart(const std::string& left, const std::string& right) {
  const bool areNumbers = isDigit(left.front()) && isDigit(right.front());
  if (areNumbers && left.size() != right.size()) {
    return left.size() <=> right.size();
  }
  return left.compare(right) <=> 0;
}

/// What ends first comes first.
std::strong_ordering compareParts(const std::vector<std::string>& left,
                                  const std::vector<std::string>& right) {
  for (std::size_t at = 0; at < std::min(left.size(), right.size()); ++at) {
    if (const auto order = comparePart(left[at], right[at]); std::is_neq(order)) {
      return order;
    }
  }
  return left.size() <=> right.size();
}

}  // namespace

std::optional<VersionNumber> VersionNumber::parse(std::string_view text) {
  if (text.size() > longestVersion || text.empty() || !isDigit(text.front()) ||
      !std::ranges::all_of(text, isOfVersion)) {
    return std::nullopt;
  }
  text = text.substr(0, text.find('+'));
  VersionNumber version;
  version.numbers.push_back(takeNumber(text));
  while (text.size() > 1 && text.front() == '.' && isDigit(text[1])) {
    text.remove_prefix(1);
    version.numbers.push_back(takeNumber(text));
  }
  while (!version.numbers.empty() && version.numbers.back() == "0") {
    version.numbers.pop_back();
  }
  while (!text.empty()) {
    if (isDigit(text.front())) {
      version.suffix.push_back(takeNumber(text));
    } else if (isLetter(text.front())) {
      version.suffix.push_back(takeWhile(text, isLetter));
      std::ranges::transform(version.suffix.back(), version.suffix.back().begin(), lower);
    } else {
      text.remove_prefix(1);
    }
  }
  return version;
}

std::strong_ordering operator<=>(const VersionNumber& left, const VersionNumber& right) {
  if (const auto order = compareParts(left.numbers, right.numbers); std::is_neq(order)) {
    return order;
  }
  if (left.suffix.empty() || right.suffix.empty()) {
    return left.suffix.empty() <=> right.suffix.empty();
  }
  return compareParts(left.suffix, right.suffix);
}

}  // namespace orvik
