#include "core/values/Text.h"

#include <unicode/brkiter.h>
#include <unicode/locid.h>
#include <unicode/normalizer2.h>
#include <unicode/uchar.h>
#include <unicode/unistr.h>
#include <unicode/utext.h>
#include <unicode/utf8.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <memory>

#include "core/values/NumberText.h"

namespace orvik {

namespace {

constexpr std::string_view replacementCharacter = "\xEF\xBF\xBD";

bool isASCII(std::string_view text) noexcept {
  return std::ranges::all_of(text, [](char c) { return static_cast<unsigned char>(c) < 0x80; });
}

icu::UnicodeString unicode(std::string_view text) {
  return icu::UnicodeString::fromUTF8(
      icu::StringPiece(text.data(), static_cast<std::int32_t>(text.size())));
}

icu::UnicodeString composed(const icu::UnicodeString& source) {
  UErrorCode status = U_ZERO_ERROR;
  const icu::Normalizer2* composer = icu::Normalizer2::getNFCInstance(status);
  if (U_FAILURE(status)) {
    return source;
  }
  icu::UnicodeString result = composer->normalize(source, status);
  return U_FAILURE(status) ? source : result;
}

}  // namespace

std::int32_t nextCodePoint(std::string_view text, std::size_t& position) noexcept {
  const auto* bytes = reinterpret_cast<const std::uint8_t*>(text.data());
  UChar32 codePoint = 0;
  U8_NEXT(bytes, position, text.size(), codePoint);
  return codePoint;
}

bool isValidUTF8(std::string_view text) noexcept {
  std::size_t position = 0;
  while (position < text.size()) {
    // Most texts are ASCII: eight bytes at once.
    std::uint64_t word = 0;
    while (position + sizeof word <= text.size()) {
      std::memcpy(&word, text.data() + position, sizeof word);
      if ((word & 0x8080808080808080U) != 0) {
        break;
      }
      position += sizeof word;
    }
    if (position == text.size()) {
      return true;
    }
    if (static_cast<unsigned char>(text[position]) < 0x80) {
      ++position;
    } else if (nextCodePoint(text, position) < 0) {
      return false;
    }
  }
  return true;
}

char* copyRepairedCodePoint(std::string_view text, std::size_t& position, char* to) noexcept {
  const std::size_t start = position;
  const bool isWellFormed = nextCodePoint(text, position) >= 0;
  return std::ranges::copy(
             isWellFormed ? text.substr(start, position - start) : replacementCharacter, to)
      .out;
}

std::string repairedUTF8(std::string_view text) {
  // Measured first, since the output of a tool may be large: room for the worst case would be three
  // times as much as it is.
  std::size_t size = 0;
  for (std::size_t position = 0; position < text.size();) {
    const std::size_t start = position;
    const bool isWellFormed = nextCodePoint(text, position) >= 0;
    size += isWellFormed ? position - start : replacementCharacter.size();
  }
  std::string out(size, '\0');
  char* to = out.data();
  for (std::size_t position = 0; position < text.size();) {
    to = copyRepairedCodePoint(text, position, to);
  }
  return out;
}

std::string_view trimmed(std::string_view text) noexcept {
  const auto isSpace = [&text](std::size_t& position) {
    return u_isUWhiteSpace(nextCodePoint(text, position)) != 0;
  };
  std::size_t start = 0;
  for (std::size_t after = 0; after < text.size() && isSpace(after);) {
    start = after;
  }
  text.remove_prefix(start);
  while (!text.empty()) {
    // No white space is longer than three bytes.
    std::size_t last = text.size() - 1;
    while (last > 0 && text.size() - last < 3 && U8_IS_TRAIL(text[last])) {
      --last;
    }
    std::size_t after = last;
    if (!isSpace(after) || after != text.size()) {
      break;
    }
    text = text.substr(0, last);
  }
  return text;
}

std::string_view firstCharacters(std::string_view text, std::int32_t count) {
  if (count <= 0) {
    return text.substr(0, 0);
  }
  if (text.size() <= static_cast<std::size_t>(count)) {
    return text;
  }
  UErrorCode status = U_ZERO_ERROR;
  const icu::LocalUTextPointer input(
      utext_openUTF8(nullptr, text.data(), static_cast<std::int64_t>(text.size()), &status));
  const std::unique_ptr<icu::BreakIterator> boundaries(
      icu::BreakIterator::createCharacterInstance(icu::Locale::getRoot(), status));
  if (U_FAILURE(status)) {
    return text;
  }
  boundaries->setText(input.getAlias(), status);
  const std::int32_t end = boundaries->next(count);
  return U_FAILURE(status) || end < 0 ? text : text.substr(0, static_cast<std::size_t>(end));
}

int compareText(std::string_view left, std::string_view right) {
  if (left == right) {
    return 0;
  }
  if (isASCII(left) && isASCII(right)) {
    return left < right ? -1 : 1;
  }
  return composed(unicode(left)).compareCodePointOrder(composed(unicode(right)));
}

void appendHex(std::uint8_t byte, std::string& out) {
  constexpr std::string_view digits = "0123456789ABCDEF";
  out += {digits[byte >> 4U], digits[byte & 0xFU]};
}

std::optional<std::uint8_t> byteFromHex(std::string_view digits) noexcept {
  return digits.size() == 2 ? parseInteger<std::uint8_t>(digits, 16) : std::nullopt;
}

std::string lowercased(std::string_view text) {
  std::string lower;
  if (isASCII(text)) {
    lower.resize(text.size());
    std::ranges::transform(text, lower.begin(), [](char c) {
      return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
    });
    return lower;
  }
  return composed(unicode(text).toLower(icu::Locale::getRoot())).toUTF8String(lower);
}

}  // namespace orvik
