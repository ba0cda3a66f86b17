#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace orvik {

/// Binary data that is owned, and binary data that somebody else owns.
using Bytes = std::vector<std::uint8_t>;
using ByteView = std::span<const std::uint8_t>;

/// The bytes of a text, valid as long as the text is.
[[nodiscard]] inline ByteView bytesOf(std::string_view text) {
  return {reinterpret_cast<const std::uint8_t*>(text.data()), text.size()};
}

/// The same bytes seen as text.
[[nodiscard]] inline std::string_view textOf(ByteView bytes) {
  return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}

}  // namespace orvik
