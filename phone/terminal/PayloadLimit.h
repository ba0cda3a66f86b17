#pragma once

#include <cstdint>
#include <optional>

namespace orvik {

/// Ends a program after a number of payloads, or never.
class PayloadLimit {
 public:
  /// `count` is at least 1; none means no limit.
  explicit PayloadLimit(std::optional<std::uint64_t> count) : left(count) {}

  /// Counts one payload; returns whether more are wanted.
  [[nodiscard]] bool take() { return !left || --*left > 0; }

 private:
  std::optional<std::uint64_t> left;
};

}  // namespace orvik
