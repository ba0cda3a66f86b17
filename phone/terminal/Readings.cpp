#include "phone/terminal/Readings.h"

#include <cmath>

#include "phone/terminal/DisplayText.h"

namespace orvik {

const UntypedValue* Readings::find(std::string_view key) const {
  return object == nullptr ? nullptr : object->find(key);
}

std::optional<double> Readings::numberOf(const UntypedValue& value) {
  constexpr double largest = 1e15;
  std::optional<double> number;
  if (const auto* integer = value.get<std::int64_t>()) {
    number = static_cast<double>(*integer);
  } else if (const auto* real = value.get<double>()) {
    number = *real;
  }
  // Written so that a value that is not a number fails the test as well.
  return number && std::abs(*number) < largest ? number : std::nullopt;
}

std::optional<std::string> Readings::textOf(const UntypedValue& value) {
  const auto* text = value.get<std::string>();
  std::string shown = text == nullptr ? std::string() : displayText(*text);
  return shown.empty() ? std::nullopt : std::optional(std::move(shown));
}

std::optional<double> Readings::number(std::string_view key) const {
  const UntypedValue* value = find(key);
  return value == nullptr ? std::nullopt : numberOf(*value);
}

std::optional<std::int64_t> Readings::integer(std::string_view key) const {
  const auto* integer = object == nullptr ? nullptr : object->get<std::int64_t>(key);
  return integer == nullptr ? std::nullopt : std::optional(*integer);
}

std::optional<bool> Readings::flag(std::string_view key) const {
  const auto* flag = object == nullptr ? nullptr : object->get<bool>(key);
  return flag == nullptr ? std::nullopt : std::optional(*flag);
}

std::optional<std::string> Readings::text(std::string_view key) const {
  const UntypedValue* value = find(key);
  return value == nullptr ? std::nullopt : textOf(*value);
}

const UntypedValue::List& Readings::list(std::string_view key) const {
  static const UntypedValue::List none;
  const auto* list = object == nullptr ? nullptr : object->get<UntypedValue::List>(key);
  return list == nullptr ? none : *list;
}

Readings Readings::member(std::string_view key) const { return Readings(find(key)); }

}  // namespace orvik
