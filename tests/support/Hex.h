#pragma once

#include <string_view>

#include "core/values/Bytes.h"

namespace orvik::test {

inline Bytes hex(std::string_view text) {
  const auto digit = [](char c) { return c <= '9' ? c - '0' : c - 'a' + 10; };
  Bytes bytes;
  for (std::size_t i = 0; i + 1 < text.size(); i += 2) {
    bytes.push_back(static_cast<std::uint8_t>(digit(text[i]) * 16 + digit(text[i + 1])));
  }
  return bytes;
}

}  // namespace orvik::test
