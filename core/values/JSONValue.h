#pragma once

#include <concepts>
#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

namespace orvik {

class JSONValue;
class TextSink;
class UntypedValue;

/// A map from text to JSONValue with unique keys. Members are kept sorted by key, so that writing
/// needs neither sorting nor memory. Keys are compared as text: canonically equivalent keys are
/// one key.
class JSONObject {
 public:
  struct Member;

  JSONObject();
  /// A literal. A repeated key is a programming error and stops the program.
  JSONObject(std::initializer_list<std::pair<std::string_view, JSONValue>> members);
  JSONObject(const JSONObject& other);
  JSONObject(JSONObject&& other) noexcept;
  JSONObject& operator=(const JSONObject& other);
  JSONObject& operator=(JSONObject&& other) noexcept;
  ~JSONObject();

  /// Sets a key, replacing the value that it had.
  void set(std::string_view key, JSONValue value);
  /// Sets every key of `other`; a key that is present in both takes the value of `other`.
  void merge(JSONObject other);
  /// Removes a key; nothing happens when it is absent.
  void erase(std::string_view key);
  /// Calls `change(key, value)` for every member in ascending key order; the value may be changed.
  template <typename Change>
  void changeEach(Change change);

  /// The value under a key, or null when there is none. Valid until the object changes.
  [[nodiscard]] const JSONValue* find(std::string_view key) const;
  /// The payload under a key when it is there and has this case, otherwise null.
  template <typename Case>
  [[nodiscard]] const Case* get(std::string_view key) const;

  [[nodiscard]] std::size_t size() const noexcept;
  [[nodiscard]] bool empty() const noexcept;
  /// In ascending key order.
  [[nodiscard]] std::vector<Member>::const_iterator begin() const noexcept;
  [[nodiscard]] std::vector<Member>::const_iterator end() const noexcept;

  /// The same keys with equal values.
  bool operator==(const JSONObject& other) const;

 private:
  std::vector<Member> members;
};

/// The one in-memory JSON value, from which every payload is built. A plain value: copies are
/// independent. An integer and a double are never equal, and are written differently.
class JSONValue {
 public:
  using Array = std::vector<JSONValue>;
  using Object = JSONObject;
  using Null = std::nullptr_t;

  JSONValue(Null = nullptr) noexcept : value(nullptr) {}
  JSONValue(std::same_as<bool> auto boolean) noexcept : value(boolean) {}
  /// Any integer type that fits into 64 signed bits.
  template <std::integral Integer>
    requires(!std::same_as<Integer, bool> && !std::same_as<Integer, char> &&
             (std::signed_integral<Integer> || sizeof(Integer) < sizeof(std::int64_t)))
  JSONValue(Integer integer) noexcept : value(static_cast<std::int64_t>(integer)) {}
  JSONValue(double number) noexcept : value(number) {}
  JSONValue(std::string text) noexcept : value(std::move(text)) {}
  JSONValue(std::string_view text) : value(std::string(text)) {}
  JSONValue(const char* text) : value(std::string(text)) {}
  JSONValue(Array array) noexcept : value(std::move(array)) {}
  JSONValue(Object object) noexcept : value(std::move(object)) {}

  /// The value of what a JSON or property-list reader gave. Booleans stay booleans, an integer
  /// above the signed range becomes the nearest double, dates, data and everything else without a
  /// JSON form become null.
  [[nodiscard]] static JSONValue any(const UntypedValue& untyped);

  /// The payload when the value has this case, otherwise null: `value.get<std::int64_t>()`.
  /// Cases: bool, std::int64_t, double, std::string, Array, Object, Null.
  template <typename Case>
  [[nodiscard]] const Case* get() const noexcept {
    return std::get_if<Case>(&value);
  }
  template <typename Case>
  [[nodiscard]] Case* get() noexcept {
    return std::get_if<Case>(&value);
  }
  template <typename Case>
  [[nodiscard]] bool is() const noexcept {
    return std::holds_alternative<Case>(value);
  }

  /// Appends compact JSON text: no whitespace, keys in ascending order, the shortest text of a
  /// double that reads back the same, null for one that is not finite. The same value always
  /// gives the same bytes, which are valid UTF-8. Allocates nothing but room in `out`.
  void write(std::string& out) const;
  /// The compact text as a new string.
  [[nodiscard]] std::string text() const;
  /// Appends one quoted and escaped JSON string; ill-formed UTF-8 is written as U+FFFD.
  static void writeString(std::string_view text, std::string& out);

  /// The same case with an equal payload: doubles by IEEE comparison, texts by canonical
  /// equivalence.
  bool operator==(const JSONValue& other) const;

 private:
  friend struct JSONWriter;
  std::variant<bool, std::int64_t, double, std::string, Array, Object, Null> value;
};

struct JSONObject::Member {
  std::string key;
  JSONValue value;
};

template <typename Change>
void JSONObject::changeEach(Change change) {
  for (Member& member : members) {
    change(std::string_view(member.key), member.value);
  }
}

template <typename Case>
const Case* JSONObject::get(std::string_view key) const {
  const JSONValue* found = find(key);
  return found == nullptr ? nullptr : found->get<Case>();
}

}  // namespace orvik
