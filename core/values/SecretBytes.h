#pragma once

#include <algorithm>
#include <array>
#include <cstdint>
#include <string>
#include <utility>

#include "core/values/Bytes.h"

namespace orvik {

/// Overwrites memory in a way that the compiler keeps.
void wipe(void* memory, std::size_t size) noexcept;

/// Secret bytes of fixed size, overwritten when the object dies.
template <std::size_t Size>
class SecretBytes {
 public:
  SecretBytes() = default;
  /// Copies `Size` bytes; the caller has checked the length.
  explicit SecretBytes(std::span<const std::uint8_t, Size> source) {
    std::copy(source.begin(), source.end(), bytes.begin());
  }
  SecretBytes(const SecretBytes&) = default;
  SecretBytes& operator=(const SecretBytes&) = default;
  ~SecretBytes() { wipe(bytes.data(), bytes.size()); }

  /// The raw bytes, for a primitive that wants them. Valid while this object lives.
  [[nodiscard]] std::span<const std::uint8_t, Size> data() const noexcept { return bytes; }
  [[nodiscard]] std::span<std::uint8_t, Size> data() noexcept { return bytes; }

  bool operator==(const SecretBytes&) const = default;

 private:
  std::array<std::uint8_t, Size> bytes{};
};

/// A secret text, overwritten when the object dies.
class SecretText {
 public:
  SecretText() = default;
  /// Takes over a text. Whoever composes it makes room for all of it first: memory that a text
  /// grows out of keeps its content.
  explicit SecretText(std::string text) noexcept : content(std::move(text)) {}
  SecretText(SecretText&& other) noexcept { content.swap(other.content); }
  SecretText& operator=(SecretText&& other) noexcept;
  ~SecretText();

  [[nodiscard]] const std::string& text() const noexcept { return content; }

 private:
  std::string content;
};

/// A 256-bit symmetric key.
using SymmetricKey = SecretBytes<32>;

}  // namespace orvik
