#include "core/values/PropertyList.h"

#include <plist/plist.h>

#include <bit>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <limits>
#include <string>

#include "core/values/CHandle.h"
#include "core/values/PropertyListMeasure.h"

namespace orvik {

namespace {

constexpr std::string_view binaryMagic = "bplist00";

UntypedValue converted(plist_t node);

UntypedValue convertedMap(plist_t node) {
  UntypedValue::Map map;
  plist_dict_iter rawIterator = nullptr;
  plist_dict_new_iter(node, &rawIterator);
  const CHandle<void, std::free> iterator(rawIterator);
  for (;;) {
    char* rawKey = nullptr;
    plist_t element = nullptr;
    plist_dict_next_item(node, iterator.get(), &rawKey, &element);
    const CHandle<char, std::free> key(rawKey);
    if (element == nullptr) {
      return map;
    }
    map.insert_or_assign(key ? key.get() : "", converted(element));
  }
}

UntypedValue convertedList(plist_t node) {
  UntypedValue::List list;
  list.reserve(plist_array_get_size(node));
  // The place of an element in a binary list is found by counting from the first one.
  plist_array_iter rawIterator = nullptr;
  plist_array_new_iter(node, &rawIterator);
  const CHandle<void, std::free> iterator(rawIterator);
  for (;;) {
    plist_t element = nullptr;
    plist_array_next_item(node, iterator.get(), &element);
    if (element == nullptr) {
      return list;
    }
    list.push_back(converted(element));
  }
}

UntypedValue convertedDate(plist_t node) {
  // Given as whole seconds since the beginning of 2001 and the microseconds beyond them.
  constexpr double epochOf2001 = 978'307'200;
  constexpr double microsecond = 1e-6;
  std::int32_t seconds = 0;
  std::int32_t microseconds = 0;
// The function that later versions of the library recommend instead is not in earlier ones.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"
  plist_get_date_val(node, &seconds, &microseconds);
#pragma GCC diagnostic pop
  // What does not fit is squeezed to one of the ends, which would be a date of its own.
  using Limits = std::numeric_limits<std::int32_t>;
  if (seconds == Limits::min() || seconds == Limits::max()) {
    return UntypedValue::Opaque{};
  }
  const double fraction = std::copysign(microseconds * microsecond, seconds);
  return UntypedValue::Date{epochOf2001 + seconds + fraction};
}

UntypedValue converted(plist_t node) {
  switch (plist_get_node_type(node)) {
    case PLIST_BOOLEAN: {
      std::uint8_t boolean = 0;
      plist_get_bool_val(node, &boolean);
      return boolean != 0;
    }
    case PLIST_UINT: {
      std::uint64_t integer = 0;
      plist_get_uint_val(node, &integer);
      // Negative numbers come as their two's complement.
      return std::bit_cast<std::int64_t>(integer);
    }
    case PLIST_REAL: {
      double number = 0;
      plist_get_real_val(node, &number);
      return number;
    }
    case PLIST_STRING: {
      std::uint64_t length = 0;
      const char* text = plist_get_string_ptr(node, &length);
      return text == nullptr ? std::string() : std::string(text, length);
    }
    case PLIST_DATE:
      return convertedDate(node);
    case PLIST_ARRAY:
      return convertedList(node);
    case PLIST_DICT:
      return convertedMap(node);
    default:
      return UntypedValue::Opaque{};
  }
}

}  // namespace

UntypedValue readPropertyList(std::string_view bytes) {
  const bool isBinary = bytes.starts_with(binaryMagic);
  if (bytes.size() > std::numeric_limits<std::uint32_t>::max() ||
      !(isBinary ? isSaneBinaryList(bytes) : isSaneXMLList(bytes))) {
    return {};
  }
  const auto parse = isBinary ? plist_from_bin : plist_from_xml;
  plist_t root = nullptr;
  parse(bytes.data(), static_cast<std::uint32_t>(bytes.size()), &root);
  const CHandle<void, plist_free> owner(root);
  return root == nullptr ? UntypedValue() : converted(root);
}

}  // namespace orvik
