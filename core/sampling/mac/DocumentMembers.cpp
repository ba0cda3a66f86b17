#include "core/sampling/mac/DocumentMembers.h"

#include "core/values/Text.h"

namespace orvik {

namespace {

template <typename Case>
const Case* member(const UntypedValue& map, std::string_view key) {
  const UntypedValue* value = map.find(key);
  return value == nullptr ? nullptr : value->get<Case>();
}

}  // namespace

const UntypedValue::List& listMember(const UntypedValue& map, std::string_view key) {
  static const UntypedValue::List none;
  const auto* list = member<UntypedValue::List>(map, key);
  return list == nullptr ? none : *list;
}

std::optional<std::string> textMember(const UntypedValue& map, std::string_view key) {
  const auto* text = member<std::string>(map, key);
  return text == nullptr || trimmed(*text).empty() ? std::nullopt : std::optional(*text);
}

std::optional<std::int64_t> integerMember(const UntypedValue& map, std::string_view key) {
  const auto* integer = member<std::int64_t>(map, key);
  return integer == nullptr ? std::nullopt : std::optional(*integer);
}

}  // namespace orvik
