#include "phone/terminal/DisplayText.h"

#include <unicode/uchar.h>
#include <unicode/unorm2.h>

#include <algorithm>
#include <array>
#include <optional>
#include <utility>

#include "core/values/Text.h"

namespace orvik {

namespace {

constexpr UChar32 escape = 0x1B;

bool isPrintableASCII(char c) { return c >= ' ' && c <= '~'; }

/// Moves past the rest of a control string such as a window title. One without an end is text.
void skipControlString(std::string_view text, std::size_t& position) {
  for (const std::string_view terminator : {"\a", "\x1B\\", "\xC2\x9C"}) {
    const std::size_t end = text.find(terminator, position);
    if (end != std::string_view::npos) {
      position = end + terminator.size();
      return;
    }
  }
}

/// Moves past the rest of an escape sequence (ECMA-48) whose first character has been read.
void skipSequence(std::string_view text, std::size_t& position, UChar32 introducer) {
  // A control of the second set, U+0080 to U+009F, stands for ESC and the letter 0x40 below it.
  auto kind = static_cast<char>(introducer - 0x40);
  if (introducer == escape) {
    if (position >= text.size() || !isPrintableASCII(text[position])) {
      return;
    }
    kind = text[position++];
  }
  if (std::string_view("]PX^_").find(kind) != std::string_view::npos) {
    skipControlString(text, position);
    return;
  }
  const bool hasParameters = kind == '[';
  if (!hasParameters && !(kind >= ' ' && kind <= '/')) {
    return;
  }
  // Parameters and intermediate characters, then the one that ends the sequence.
  const char last = hasParameters ? '?' : '/';
  while (position < text.size() && text[position] >= ' ' && text[position] <= last) {
    ++position;
  }
  if (position < text.size() && isPrintableASCII(text[position])) {
    ++position;
  }
}

bool isInvisible(UChar32 codePoint) {
  switch (u_charType(codePoint)) {
    case U_CONTROL_CHAR:
    case U_FORMAT_CHAR:
    case U_SURROGATE:
      return true;
    default:
      return false;
  }
}

int columnsOfCodePoint(UChar32 codePoint) {
  // The vowels and final consonants of decomposed Korean syllables join the cell before them.
  const bool joinsSyllable = codePoint >= 0x1160 && codePoint <= 0x11FF;
  const auto type = u_charType(codePoint);
  if (joinsSyllable || type == U_NON_SPACING_MARK || type == U_ENCLOSING_MARK ||
      isInvisible(codePoint)) {
    return 0;
  }
  const int width = u_getIntPropertyValue(codePoint, UCHAR_EAST_ASIAN_WIDTH);
  return width == U_EA_WIDE || width == U_EA_FULLWIDTH ? 2 : 1;
}

/// The ASCII letter that a letter with accents is made of.
std::optional<char> baseLetter(UChar32 codePoint) {
  UErrorCode error = U_ZERO_ERROR;
  const UNormalizer2* decomposer = unorm2_getNFDInstance(&error);
  std::array<UChar, 8> letters{};
  const int length =
      U_FAILURE(error) != 0 || codePoint < 0
          ? -1
          : unorm2_getDecomposition(decomposer, codePoint, letters.data(), letters.size(), &error);
  if (length < 1 || U_FAILURE(error) != 0 || letters.front() >= 0x80) {
    return std::nullopt;
  }
  return static_cast<char>(letters.front());
}

}  // namespace

std::string displayText(std::string_view foreign) {
  const std::string text = repairedUTF8(foreign);
  std::string out;
  bool blankPending = false;
  for (std::size_t position = 0; position < text.size();) {
    const std::size_t start = position;
    const UChar32 codePoint = nextCodePoint(text, position);
    if (u_isUWhiteSpace(codePoint)) {
      blankPending = !out.empty();
    } else if (codePoint == escape || (codePoint >= 0x80 && codePoint <= 0x9F)) {
      skipSequence(text, position, codePoint);
    } else if (!isInvisible(codePoint)) {
      if (std::exchange(blankPending, false)) {
        out.push_back(' ');
      }
      out.append(text, start, position - start);
    }
  }
  return out;
}

std::string asciiText(std::string_view text) {
  // The degree of a temperature goes without saying.
  static constexpr std::pair<UChar32, std::string_view> nearest[] = {
      {U'°', ""},  {U'·', "|"}, {U'–', "-"}, {U'…', "~"}, {U'’', "'"}, {U'▁', "_"}, {U'▂', "."},
      {U'▃', "-"}, {U'▄', "="}, {U'▅', "+"}, {U'▆', "*"}, {U'▇', "%"}, {U'█', "#"}, {U'░', "."}};
  std::string out;
  for (std::size_t position = 0; position < text.size();) {
    const UChar32 codePoint = nextCodePoint(text, position);
    const auto* const found =
        std::ranges::find(nearest, codePoint, [](auto& pair) { return pair.first; });
    if (found != std::ranges::end(nearest)) {
      out += found->second;
    } else if (codePoint >= 0 && codePoint < 0x80) {
      out.push_back(static_cast<char>(codePoint));
    } else if (codePoint < 0 || columnsOfCodePoint(codePoint) > 0) {
      out += baseLetter(codePoint).value_or('?');
    }
  }
  return out;
}

int columnsOf(std::string_view text) {
  int columns = 0;
  for (std::size_t position = 0; position < text.size();) {
    columns += columnsOfCodePoint(nextCodePoint(text, position));
  }
  return columns;
}

std::string clipped(std::string_view text, int columns) {
  if (columnsOf(text) <= columns) {
    return std::string(text);
  }
  if (columns < 1) {
    return {};
  }
  std::size_t end = 0;
  int used = 0;
  for (std::size_t position = 0; position < text.size();) {
    used += columnsOfCodePoint(nextCodePoint(text, position));
    if (used > columns - 1) {
      break;
    }
    end = position;
  }
  return std::string(text.substr(0, end)) + "…";
}

std::string padded(std::string_view text, int columns) {
  const int missing = std::max(columns - columnsOf(text), 0);
  return std::string(text) + std::string(static_cast<std::size_t>(missing), ' ');
}

}  // namespace orvik
