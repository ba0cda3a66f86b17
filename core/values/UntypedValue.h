#pragma once

#include <concepts>
#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

namespace orvik {

/// What a JSON or property-list reader found, before anybody decided what it means: system tools
/// put text where a number was expected and the reverse, and the parsers sort that out.
class UntypedValue {
 public:
  using List = std::vector<UntypedValue>;
  using Map = std::map<std::string, UntypedValue, std::less<>>;
  /// A date of a property list.
  struct Date {
    double secondsSince1970;
    bool operator==(const Date&) const = default;
  };
  /// Something that nobody reads: a data blob, a reference.
  struct Opaque {
    bool operator==(const Opaque&) const = default;
  };

  /// Nothing, or JSON's null.
  UntypedValue() = default;
  UntypedValue(std::same_as<bool> auto boolean) : value(boolean) {}
  UntypedValue(std::int64_t integer) : value(integer) {}
  /// Kept as std::int64_t where it fits.
  UntypedValue(std::uint64_t integer) {
    if (std::in_range<std::int64_t>(integer)) {
      value = static_cast<std::int64_t>(integer);
    } else {
      value = integer;
    }
  }
  UntypedValue(double number) : value(number) {}
  UntypedValue(std::string text) : value(std::move(text)) {}
  UntypedValue(const char* text) : value(std::string(text)) {}
  UntypedValue(List list) : value(std::move(list)) {}
  UntypedValue(Map map) : value(std::move(map)) {}
  UntypedValue(Date date) : value(date) {}
  UntypedValue(Opaque opaque) : value(opaque) {}

  /// The content when it is of this type, otherwise null. Types: bool, std::int64_t,
  /// std::uint64_t (only above the signed range), double, std::string, List, Map, Date, Opaque.
  template <typename Case>
  [[nodiscard]] const Case* get() const noexcept {
    return std::get_if<Case>(&value);
  }

  /// The member of a map, or null when this is no map or has no such member.
  [[nodiscard]] const UntypedValue* find(std::string_view key) const;
  /// The member of a map when it is there and of this type, otherwise null.
  template <typename Case>
  [[nodiscard]] const Case* get(std::string_view key) const {
    const UntypedValue* member = find(key);
    return member == nullptr ? nullptr : member->get<Case>();
  }

  bool operator==(const UntypedValue&) const = default;

  std::variant<std::monostate, bool, std::int64_t, std::uint64_t, double, std::string, List, Map,
               Date, Opaque>
      value;
};

}  // namespace orvik
