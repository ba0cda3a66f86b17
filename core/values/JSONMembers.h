#pragma once

#include <cstdint>
#include <optional>
#include <string_view>
#include <utility>

#include "core/values/JSONValue.h"

namespace orvik {

// Reading and writing the members of records that are JSON objects.

/// The member when it is there and has this case, otherwise nothing.
template <typename Case>
[[nodiscard]] std::optional<Case> member(const JSONObject& object, std::string_view key) {
  const Case* found = object.get<Case>(key);
  return found == nullptr ? std::nullopt : std::optional<Case>(*found);
}

/// The member when it is a number of either case.
[[nodiscard]] inline std::optional<double> numberMember(const JSONObject& object,
                                                        std::string_view key) {
  if (const auto integer = member<std::int64_t>(object, key)) {
    return static_cast<double>(*integer);
  }
  return member<double>(object, key);
}

/// Reads a member that a record must have; false when it is missing or has another type.
template <typename Type>
[[nodiscard]] bool readMember(const JSONObject& object, std::string_view key, Type& to) {
  const auto found = member<Type>(object, key);
  if (found) {
    to = *found;
  }
  return found.has_value();
}

/// Reads a member that a record may have; false when it is there with another type.
template <typename Type>
[[nodiscard]] bool readMember(const JSONObject& object, std::string_view key,
                              std::optional<Type>& to) {
  to = member<Type>(object, key);
  return to || object.find(key) == nullptr;
}
[[nodiscard]] inline bool readMember(const JSONObject& object, std::string_view key,
                                     std::optional<double>& to) {
  to = numberMember(object, key);
  return to || object.find(key) == nullptr;
}

/// The value, or null: for members that are always written.
template <typename Type>
[[nodiscard]] JSONValue orNull(std::optional<Type> value) {
  return value ? JSONValue(std::move(*value)) : JSONValue();
}

/// Sets a member, or leaves it out when there is no value.
template <typename Type>
void setIfPresent(JSONObject& object, std::string_view key, const std::optional<Type>& value) {
  if (value) {
    object.set(key, *value);
  }
}

}  // namespace orvik
