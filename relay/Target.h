#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string_view>

namespace orvik::relay {

/// Under what the relay knows one Mac and its phones.
using Identifier = std::array<std::uint8_t, 16>;

/// What a request's path asks for: a place on one side of an identifier.
struct Target {
  enum class Role { mac, phone };
  Role role;
  Identifier identifier;

  /// Reads "/v1/mac/ID" or "/v1/phone/ID" behind any prefix. Nothing when the path is anything
  /// else, has a query, or an identifier in another than its only canonical form.
  [[nodiscard]] static std::optional<Target> of(std::string_view path);

  bool operator==(const Target&) const = default;
};

}  // namespace orvik::relay
