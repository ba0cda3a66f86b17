#pragma once

#include <algorithm>
#include <array>
#include <cstdint>
#include <initializer_list>
#include <string>
#include <string_view>
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

/// Secret bytes of any size, overwritten when the object dies.
struct WipedBytes {
  explicit WipedBytes(Bytes secret) noexcept : bytes(std::move(secret)) {}
  WipedBytes(WipedBytes&& other) noexcept : bytes(std::move(other.bytes)) {}
  WipedBytes(const WipedBytes&) = delete;
  WipedBytes& operator=(const WipedBytes&) = delete;
  ~WipedBytes() { wipe(bytes.data(), bytes.size()); }

  Bytes bytes;
};

/// A secret text, overwritten when the object dies.
class SecretText {
 public:
  SecretText() = default;
  /// Takes over a text. Whoever composes it makes room for all of it first: memory that a text
  /// grows out of keeps its content.
  explicit SecretText(std::string text) noexcept : content(std::move(text)) {}
  /// One text out of pieces, without a copy of any that stays behind.
  SecretText(std::initializer_list<std::string_view> pieces);
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
