#include "core/values/Text.h"

#include <unicode/normalizer2.h>
#include <unicode/unistr.h>
#include <unicode/utf8.h>

#include <algorithm>
#include <cstdint>

namespace orvik {

namespace {

constexpr std::string_view replacementCharacter = "\xEF\xBF\xBD";

bool isASCII(std::string_view text) noexcept {
  return std::ranges::all_of(text, [](char c) { return static_cast<unsigned char>(c) < 0x80; });
}

/// Decodes the code point at `position` and moves past it; negative when it is ill-formed.
UChar32 nextCodePoint(std::string_view text, std::size_t& position) noexcept {
  const auto* bytes = reinterpret_cast<const std::uint8_t*>(text.data());
  UChar32 codePoint = 0;
  U8_NEXT(bytes, position, text.size(), codePoint);
  return codePoint;
}

icu::UnicodeString composed(std::string_view text) {
  UErrorCode status = U_ZERO_ERROR;
  const icu::Normalizer2* composer = icu::Normalizer2::getNFCInstance(status);
  auto source = icu::UnicodeString::fromUTF8(
      icu::StringPiece(text.data(), static_cast<std::int32_t>(text.size())));
  if (U_FAILURE(status)) {
    return source;
  }
  icu::UnicodeString result = composer->normalize(source, status);
  return U_FAILURE(status) ? source : result;
}

}  // namespace

bool isValidUTF8(std::string_view text) noexcept {
  std::size_t position = 0;
  while (position < text.size()) {
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
  std::string out(3 * text.size(), '\0');
  char* to = out.data();
  for (std::size_t position = 0; position < text.size();) {
    to = copyRepairedCodePoint(text, position, to);
  }
  out.resize(static_cast<std::size_t>(to - out.data()));
  return out;
}

int compareText(std::string_view left, std::string_view right) {
  if (left == right) {
    return 0;
  }
  if (isASCII(left) && isASCII(right)) {
    return left < right ? -1 : 1;
  }
  return composed(left).compareCodePointOrder(composed(right));
}

}  // namespace orvik
