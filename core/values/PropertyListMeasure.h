#pragma once

#include <cstddef>
#include <string_view>

namespace orvik {

/// How many bytes the texts and data of a binary property list may unfold to: it may refer to the
/// same object over and over. Three times the longest dump that we expect of a tool.
inline constexpr std::size_t maximumUnfoldedBytes = std::size_t{16} * 1024 * 1024;

/// Whether a parser may be let near this binary property list: its references lie inside of it, it
/// is nested no deeper than maximumNesting, and it unfolds to no more than maximumValues (of which
/// keys are some) and maximumUnfoldedBytes. One with a null character in a UTF-16 text is refused,
/// which as a key would end the parser.
[[nodiscard]] bool isSaneBinaryList(std::string_view bytes);

/// The same of a property list in XML, that is of its nesting, its tags, and the work that it
/// makes: dictionaries with thousands of keys and texts with thousands of entities cost the square
/// of that. Whatever has a document type with declarations of its own, or a quote that is open
/// where its tag seems to end, is refused as well: no property list has these.
[[nodiscard]] bool isSaneXMLList(std::string_view xml);

}  // namespace orvik
