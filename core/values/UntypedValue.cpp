#include "core/values/UntypedValue.h"

namespace orvik {

const UntypedValue* UntypedValue::find(std::string_view key) const {
  const auto* map = get<Map>();
  if (map == nullptr) {
    return nullptr;
  }
  const auto position = map->find(key);
  return position == map->end() ? nullptr : &position->second;
}

}  // namespace orvik
