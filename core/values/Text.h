#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace orvik {

/// Decodes the code point at `position` and moves past it; negative when it is ill-formed.
/// `position` is less than the size of `text`.
[[nodiscard]] std::int32_t nextCodePoint(std::string_view text, std::size_t& position) noexcept;

/// Whether the bytes are well-formed UTF-8.
[[nodiscard]] bool isValidUTF8(std::string_view text) noexcept;

/// The text with every ill-formed sequence replaced by U+FFFD, one for each maximal subpart, as
/// the Unicode standard recommends. Tools print file and device names in any encoding; nothing
/// else may reach a payload.
[[nodiscard]] std::string repairedUTF8(std::string_view text);

/// Copies the code point at `position` to `to`, or U+FFFD where it is ill-formed, and moves past
/// it. Returns the end of what was written: at most 4 bytes, and at most 3 for each byte read.
char* copyRepairedCodePoint(std::string_view text, std::size_t& position, char* to) noexcept;

/// The text without the white space at both ends: blanks, tabs and line breaks of any script. The
/// result is a part of `text`.
[[nodiscard]] std::string_view trimmed(std::string_view text) noexcept;

/// The first `count` characters, as a reader counts them: a letter with its accents is one, and so
/// is an emoji of several code points. The result is a part of `text`.
[[nodiscard]] std::string_view firstCharacters(std::string_view text, std::int32_t count);

/// Orders texts by the code points of their canonical composition: less than 0, 0 or greater.
/// Canonically equivalent texts (é in one code point or in two) compare as 0. For ASCII this is
/// byte order.
[[nodiscard]] int compareText(std::string_view left, std::string_view right);

/// The text in lower case, the same in every locale, and in canonical composition: texts that
/// differ only in case or in how their accents are encoded give the same bytes. Names that people
/// read are matched and sorted by it.
[[nodiscard]] std::string lowercased(std::string_view text);

/// Appends the two hexadecimal digits of a byte, letters in upper case.
void appendHex(std::uint8_t byte, std::string& out);

/// The byte that two hexadecimal digits of either case stand for; nothing for any other text.
[[nodiscard]] std::optional<std::uint8_t> byteFromHex(std::string_view digits) noexcept;

}  // namespace orvik
