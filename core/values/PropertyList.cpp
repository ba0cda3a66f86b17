#include "core/values/PropertyList.h"

#include <plist/plist.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <limits>
#include <memory>
#include <optional>
#include <string>

#include "core/values/JSONReader.h"

namespace orvik {

namespace {

constexpr std::string_view binaryMagic = "bplist00";

/// More values than any tool prints. A binary list of a few bytes may refer to the same objects
/// over and over, and would otherwise unfold into all of memory.
constexpr std::uint64_t maximumValues = 4'000'000;

/// The deepest nesting of containers in XML. Comments, CDATA and processing instructions are passed
/// over as the parser passes over them, since what looks like a tag in them is none. A document
/// type with declarations of its own, which no property list has, counts as bottomless.
std::size_t xmlNesting(std::string_view xml) {
  std::size_t depth = 0;
  std::size_t deepest = 0;
  const auto skipPast = [&xml](std::size_t from, std::string_view end) {
    const std::size_t found = xml.find(end, from);
    return found == std::string_view::npos ? xml.size() : found + end.size();
  };
  for (std::size_t at = xml.find('<'); at < xml.size(); at = xml.find('<', at)) {
    const std::string_view tag = xml.substr(at + 1);
    if (tag.starts_with("!--")) {
      at = skipPast(at + 4, "-->");
      continue;
    }
    if (tag.starts_with("![CDATA[")) {
      at = skipPast(at + 9, "]]>");
      continue;
    }
    if (tag.starts_with('?')) {
      at = skipPast(at + 2, "?>");
      continue;
    }
    const std::size_t close = xml.find('>', at);
    if (tag.starts_with('!') && xml.substr(at, close - at).find('[') != std::string_view::npos) {
      return std::numeric_limits<std::size_t>::max();
    }
    if (tag.starts_with("array") || tag.starts_with("dict")) {
      const bool empty = close != std::string_view::npos && xml[close - 1] == '/';
      depth += empty ? 0 : 1;
      deepest = std::max(deepest, depth);
    } else if (tag.starts_with("/array") || tag.starts_with("/dict")) {
      depth -= depth > 0 ? 1 : 0;
    }
    at = close == std::string_view::npos ? xml.size() : close;
  }
  return deepest;
}

/// Walks the object references of a binary property list to say whether it unfolds to something
/// of sane depth and size, before a parser that recurses is let near it.
class BinaryMeasure {
 public:
  explicit BinaryMeasure(std::string_view bytes) : data(bytes) {}

  bool isSane() {
    constexpr std::size_t trailerSize = 32;
    if (data.size() < binaryMagic.size() + trailerSize) {
      return false;
    }
    const std::size_t trailer = data.size() - trailerSize;
    offsetSize = static_cast<unsigned char>(data[trailer + 6]);
    referenceSize = static_cast<unsigned char>(data[trailer + 7]);
    const auto count = number(trailer + 8, 8);
    const auto top = number(trailer + 16, 8);
    const auto table = number(trailer + 24, 8);
    if (!count || !top || !table || offsetSize == 0 || offsetSize > 8 || referenceSize == 0 ||
        referenceSize > 8 || *count > data.size() || *table > data.size()) {
      return false;
    }
    offsetTable = *table;
    sizes.assign(*count, 0);
    const auto size = unfoldedSize(*top, 0);
    return size && *size <= maximumValues;
  }

 private:
  /// A big-endian number, or nothing when it lies outside of the data.
  [[nodiscard]] std::optional<std::uint64_t> number(std::uint64_t at, std::size_t bytes) const {
    if (at > data.size() || data.size() - at < bytes) {
      return std::nullopt;
    }
    std::uint64_t value = 0;
    for (std::size_t i = 0; i < bytes; ++i) {
      value = value << 8U | static_cast<unsigned char>(data[at + i]);
    }
    return value;
  }

  /// How many values an object unfolds to; nothing when it is too deep (a cycle is), too large or
  /// broken. Each object is looked at once.
  std::optional<std::uint64_t> unfoldedSize(std::uint64_t object, std::size_t depth) {
    if (object >= sizes.size() || depth > maximumNesting) {
      return std::nullopt;
    }
    // The height of a shared object is bounded by the depth at which it was first met, so that
    // the whole is never deeper than twice the limit.
    if (sizes[object] != 0) {
      return sizes[object];
    }
    const auto offset = number(offsetTable + object * offsetSize, offsetSize);
    const auto marker = offset ? number(*offset, 1) : std::nullopt;
    if (!marker) {
      return std::nullopt;
    }
    std::uint64_t total = 1;
    const auto kind = *marker >> 4U;
    const bool isMap = kind == 0xD;
    if (kind == 0xA || kind == 0xC || isMap) {
      std::uint64_t at = *offset + 1;
      std::uint64_t count = *marker & 0xFU;
      if (count == 0xF) {
        // An integer object of 1, 2, 4 or 8 bytes.
        const auto lengthMarker = number(at, 1);
        const bool isLength = lengthMarker && *lengthMarker >= 0x10 && *lengthMarker <= 0x13;
        const std::size_t lengthSize = isLength ? std::size_t{1} << (*lengthMarker & 0x3U) : 0;
        const auto length = isLength ? number(at + 1, lengthSize) : std::nullopt;
        if (!length) {
          return std::nullopt;
        }
        count = *length;
        at += 1 + lengthSize;
      }
      if (count > data.size()) {
        return std::nullopt;
      }
      for (std::uint64_t i = 0; i < (isMap ? 2 * count : count); ++i) {
        const auto reference = number(at + i * referenceSize, referenceSize);
        const auto size = reference ? unfoldedSize(*reference, depth + 1) : std::nullopt;
        if (!size) {
          return std::nullopt;
        }
        total += *size;
        if (total > maximumValues) {
          return std::nullopt;
        }
      }
    }
    sizes[object] = total;
    return total;
  }

  std::string_view data;
  std::size_t offsetSize = 0;
  std::size_t referenceSize = 0;
  std::uint64_t offsetTable = 0;
  /// By object; 0 is not measured yet.
  std::vector<std::uint64_t> sizes;
};

struct FreeNode {
  void operator()(plist_t node) const { plist_free(node); }
};
struct FreeMemory {
  void operator()(void* memory) const { std::free(memory); }
};

UntypedValue converted(plist_t node);

UntypedValue convertedMap(plist_t node) {
  UntypedValue::Map map;
  plist_dict_iter rawIterator = nullptr;
  plist_dict_new_iter(node, &rawIterator);
  const std::unique_ptr<void, FreeMemory> iterator(rawIterator);
  for (;;) {
    char* rawKey = nullptr;
    plist_t element = nullptr;
    plist_dict_next_item(node, iterator.get(), &rawKey, &element);
    const std::unique_ptr<char, FreeMemory> key(rawKey);
    if (element == nullptr) {
      return map;
    }
    map.insert_or_assign(key ? key.get() : "", converted(element));
  }
}

UntypedValue convertedList(plist_t node) {
  UntypedValue::List list;
  const std::uint32_t count = plist_array_get_size(node);
  list.reserve(count);
  for (std::uint32_t i = 0; i < count; ++i) {
    list.push_back(converted(plist_array_get_item(node, i)));
  }
  return list;
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
  if (bytes.size() > std::numeric_limits<std::uint32_t>::max()) {
    throw PropertyListError("larger than a property list may be");
  }
  const auto size = static_cast<std::uint32_t>(bytes.size());
  plist_t root = nullptr;
  if (bytes.starts_with(binaryMagic)) {
    if (!BinaryMeasure(bytes).isSane()) {
      throw PropertyListError("damaged, too deep or too large a binary property list");
    }
    plist_from_bin(bytes.data(), size, &root);
  } else {
    if (xmlNesting(bytes) > maximumNesting) {
      throw PropertyListError("nested too deep");
    }
    plist_from_xml(bytes.data(), size, &root);
  }
  const std::unique_ptr<void, FreeNode> owner(root);
  if (root == nullptr) {
    throw PropertyListError("not a property list");
  }
  return converted(root);
}

}  // namespace orvik
