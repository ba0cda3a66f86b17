#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "core/values/UntypedValue.h"

namespace orvik {

/// Reads the members of a payload's object. Nobody promises their types: a member of another type
/// counts as absent, one by one. Refers to a value that lives longer.
class Readings {
 public:
  /// Of anything that is no object, all members are absent.
  explicit Readings(const UntypedValue* object) : object(object) {}

  /// An integer or a double, finite and of a magnitude that a machine can have (below 10^15).
  [[nodiscard]] std::optional<double> number(std::string_view key) const;
  [[nodiscard]] std::optional<std::int64_t> integer(std::string_view key) const;
  [[nodiscard]] std::optional<bool> flag(std::string_view key) const;
  /// Fit to be shown (displayText), and not empty.
  [[nodiscard]] std::optional<std::string> text(std::string_view key) const;
  /// Empty when absent.
  [[nodiscard]] const UntypedValue::List& list(std::string_view key) const;
  [[nodiscard]] Readings member(std::string_view key) const;
  [[nodiscard]] const UntypedValue* find(std::string_view key) const;

  /// The same rule for a value by itself.
  [[nodiscard]] static std::optional<double> numberOf(const UntypedValue& value);
  [[nodiscard]] static std::optional<std::string> textOf(const UntypedValue& value);

 private:
  const UntypedValue* object;
};

}  // namespace orvik
