#include "core/sampling/mac/RegularExpression.h"

#include <unicode/regex.h>
#include <unicode/unistr.h>
#include <unicode/utext.h>

#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <utility>

#include "core/values/Text.h"

namespace orvik {

namespace {

using Pattern = std::shared_ptr<const icu::RegexPattern>;

/// Our own patterns have some dozens of bytes; a part of them may come from a tool.
constexpr std::size_t longestPattern = 4096;
/// ICU counts ten thousand steps of matching as one. As many as take half a second where each step
/// is slow: a run of digits that is tried from each of its digits.
constexpr std::int32_t mostSteps = 1000;
constexpr std::int32_t mostStackBytes = 8'000'000;

Pattern compiled(std::string_view pattern, RegexOptions options) {
  UErrorCode status = U_ZERO_ERROR;
  UParseError place;
  const auto source = icu::UnicodeString::fromUTF8(
      icu::StringPiece(pattern.data(), static_cast<std::int32_t>(pattern.size())));
  const std::uint32_t flags = options == RegexOptions::anchorsMatchLines ? UREGEX_MULTILINE : 0;
  Pattern result(icu::RegexPattern::compile(source, flags, place, status));
  return U_SUCCESS(status) ? result : nullptr;
}

/// The compiled patterns by their text. A compiled pattern may be used by several threads at once.
class PatternCache {
 public:
  Pattern get(std::string_view pattern, RegexOptions options) {
    const std::lock_guard lock(mutex);
    const auto key = std::pair(options, std::string(pattern));
    if (const auto kept = patterns.find(key); kept != patterns.end()) {
      return kept->second;
    }
    // Only names that a tool gives make new patterns all the time, and those are not worth order.
    if (patterns.size() >= mostPatterns) {
      patterns.clear();
    }
    return patterns.emplace(key, compiled(pattern, options)).first->second;
  }

 private:
  static constexpr std::size_t mostPatterns = 64;

  std::mutex mutex;
  std::map<std::pair<RegexOptions, std::string>, Pattern> patterns;
};

PatternCache& patternCache() {
  static PatternCache cache;
  return cache;
}

}  // namespace

std::optional<std::vector<std::string>> firstMatch(std::string_view text, std::string_view pattern,
                                                   RegexOptions options) {
  const Pattern expression =
      pattern.size() <= longestPattern ? patternCache().get(pattern, options) : nullptr;
  if (!expression) {
    return std::nullopt;
  }
  // Matched in place: a copy in UTF-16 would take twice the memory of the text, and longer to make
  // than most patterns take to match.
  UErrorCode status = U_ZERO_ERROR;
  const icu::LocalUTextPointer input(
      utext_openUTF8(nullptr, text.data(), static_cast<std::int64_t>(text.size()), &status));
  const std::unique_ptr<icu::RegexMatcher> matcher(expression->matcher(status));
  if (U_FAILURE(status)) {
    return std::nullopt;
  }
  matcher->reset(input.getAlias());
  matcher->setTimeLimit(mostSteps, status);
  matcher->setStackLimit(mostStackBytes, status);
  if (matcher->find(status) == 0 || U_FAILURE(status)) {
    return std::nullopt;
  }
  std::vector<std::string> groups;
  for (std::int32_t group = 0; group <= matcher->groupCount(); ++group) {
    const std::int64_t start = matcher->start64(group, status);
    const std::int64_t end = matcher->end64(group, status);
    groups.push_back(start < 0 ? std::string()
                               : repairedUTF8(text.substr(static_cast<std::size_t>(start),
                                                          static_cast<std::size_t>(end - start))));
  }
  return groups;
}

std::optional<std::string> firstGroup(std::string_view text, std::string_view pattern,
                                      RegexOptions options) {
  auto groups = firstMatch(text, pattern, options);
  if (!groups || groups->size() < 2) {
    return std::nullopt;
  }
  return std::move((*groups)[1]);
}

std::string escapedForPattern(std::string_view text) {
  constexpr std::string_view special = R"(\^$.|?*+-&#()[]{})";
  std::string escaped;
  for (const char c : text) {
    if (special.find(c) != std::string_view::npos) {
      escaped += '\\';
    }
    escaped += c;
  }
  return escaped;
}

}  // namespace orvik
