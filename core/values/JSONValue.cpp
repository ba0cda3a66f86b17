#include "core/values/JSONValue.h"

#include <algorithm>
#include <array>
#include <bit>
#include <charconv>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iterator>

#include "core/values/NumberText.h"
#include "core/values/Text.h"
#include "core/values/TextSink.h"
#include "core/values/UntypedValue.h"

namespace orvik {

namespace {

bool keyBefore(const JSONObject::Member& member, std::string_view key) {
  return compareText(member.key, key) < 0;
}

/// How a byte of a string is written.
enum class ByteClass : std::uint8_t { plain, escaped, multibyte };

constexpr auto byteClasses = [] {
  std::array<ByteClass, 256> classes{};
  for (std::size_t byte = 0; byte < 0x20; ++byte) {
    classes[byte] = ByteClass::escaped;
  }
  classes['"'] = ByteClass::escaped;
  classes['\\'] = ByteClass::escaped;
  for (std::size_t byte = 0x80; byte < 0x100; ++byte) {
    classes[byte] = ByteClass::multibyte;
  }
  return classes;
}();

/// Writes the escape of a byte and returns the end of it: at most 6 bytes.
char* writeEscape(char c, char* to) {
  constexpr std::string_view digits = "0123456789abcdef";
  *to++ = '\\';
  switch (c) {
    case '\n':
      *to++ = 'n';
      break;
    case '\r':
      *to++ = 'r';
      break;
    case '\t':
      *to++ = 't';
      break;
    case '"':
    case '\\':
      *to++ = c;
      break;
    default: {
      const auto byte = static_cast<unsigned char>(c);
      for (const char digit : {'u', '0', '0', digits[byte >> 4U], digits[byte & 0xFU]}) {
        *to++ = digit;
      }
    }
  }
  return to;
}

/// Sixteen bytes that are looked at together; a vector where the processor has them, which both
/// of our processor families do.
using Lanes [[gnu::vector_size(16)]] = std::uint8_t;

using Halves [[gnu::vector_size(16)]] = std::uint64_t;

/// Whether sixteen bytes are all plain: ASCII from the space on, without quote and backslash.
bool arePlain(Lanes lanes) {
  const auto special = ((lanes - 0x20) >= 0x60) | (lanes == '"') | (lanes == '\\');
  const auto halves = std::bit_cast<Halves>(special);
  return (halves[0] | halves[1]) == 0;
}

template <typename Integer>
Integer load(const char* from) {
  Integer value;
  std::memcpy(&value, from, sizeof value);
  return value;
}

/// The same of the two ends of a text, which may overlap.
bool arePlain(std::uint64_t first, std::uint64_t last) {
  return arePlain(std::bit_cast<Lanes>(Halves{first, last}));
}

/// Copies a text that needs no escape, as nearly no key or name does, and returns its end; null
/// when it needs one. Texts are short, so that a call of the library's copy would take longer
/// than the copy: the ends of the pieces overlap instead.
char* writePlain(std::string_view text, char* to) {
  const char* const from = text.data();
  const std::size_t size = text.size();
  if (size > sizeof(Lanes)) {
    const std::size_t last = size - sizeof(Lanes);
    for (std::size_t position = 0;; position = std::min(position + sizeof(Lanes), last)) {
      const auto lanes = load<Lanes>(from + position);
      if (!arePlain(lanes)) {
        return nullptr;
      }
      std::memcpy(to + position, &lanes, sizeof lanes);
      if (position == last) {
        return to + size;
      }
    }
  }
  if (constexpr std::size_t half = 8; size >= half) {
    const auto first = load<std::uint64_t>(from);
    const auto last = load<std::uint64_t>(from + size - half);
    std::memcpy(to, &first, half);
    std::memcpy(to + size - half, &last, half);
    return arePlain(first, last) ? to + size : nullptr;
  }
  if (constexpr std::size_t quarter = 4; size >= quarter) {
    const auto first = load<std::uint32_t>(from);
    const auto last = load<std::uint32_t>(from + size - quarter);
    std::memcpy(to, &first, quarter);
    std::memcpy(to + size - quarter, &last, quarter);
    const std::uint64_t both = std::uint64_t{first} << 32U | last;
    return arePlain(both, both) ? to + size : nullptr;
  }
  for (const char c : text) {
    if (byteClasses[static_cast<unsigned char>(c)] != ByteClass::plain) {
      return nullptr;
    }
    *to++ = c;
  }
  return to;
}

char* writeEscaped(std::string_view text, char* to) {
  for (std::size_t position = 0; position < text.size();) {
    const char c = text[position];
    switch (byteClasses[static_cast<unsigned char>(c)]) {
      case ByteClass::plain:
        *to++ = c;
        ++position;
        break;
      case ByteClass::escaped:
        to = writeEscape(c, to);
        ++position;
        break;
      case ByteClass::multibyte:
        to = copyRepairedCodePoint(text, position, to);
        break;
    }
  }
  return to;
}

constexpr std::size_t quotes = 2;

/// The rare case, out of the way of the usual one.
[[gnu::noinline]] void writeEscapedText(std::string_view text, TextSink& sink) {
  // An escape is the longest form that a byte can take; a byte that is replaced takes three.
  constexpr std::size_t longestForm = 6;
  char* to = sink.room(longestForm * text.size() + quotes);
  *to++ = '"';
  to = writeEscaped(text, to);
  *to++ = '"';
  sink.advance(to);
}

inline void writeText(std::string_view text, TextSink& sink) {
  char* const start = sink.room(text.size() + quotes);
  *start = '"';
  if (char* const end = writePlain(text, start + 1)) [[likely]] {
    *end = '"';
    sink.advance(end + 1);
  } else {
    writeEscapedText(text, sink);
  }
}

}  // namespace

/// Writes one value and all that it holds.
struct JSONWriter {
  TextSink& sink;

  void write(const JSONValue& value) const { std::visit(*this, value.value); }

  void operator()(bool boolean) const { sink.put(std::string_view(boolean ? "true" : "false")); }
  void operator()(std::int64_t integer) const {
    constexpr std::size_t longest = 20;
    char* const to = sink.room(longest);
    sink.advance(std::to_chars(to, to + longest, integer).ptr);
  }
  void operator()(double number) const {
    sink.advance(writeDoubleText(number, sink.room(longestDoubleText)));
  }
  void operator()(const std::string& text) const { writeText(text, sink); }
  void operator()(JSONValue::Null /*null*/) const { sink.put(std::string_view("null")); }

  void operator()(const JSONValue::Array& array) const {
    char separator = '[';
    for (const JSONValue& element : array) {
      sink.put(separator);
      separator = ',';
      write(element);
    }
    sink.put(array.empty() ? std::string_view("[]") : std::string_view("]"));
  }

  void operator()(const JSONObject& object) const {
    char separator = '{';
    for (const auto& [key, value] : object) {
      sink.put(separator);
      separator = ',';
      writeText(key, sink);
      sink.put(':');
      write(value);
    }
    sink.put(object.empty() ? std::string_view("{}") : std::string_view("}"));
  }
};

JSONObject::JSONObject() = default;
JSONObject::JSONObject(const JSONObject& other) = default;
JSONObject::JSONObject(JSONObject&& other) noexcept = default;
JSONObject& JSONObject::operator=(const JSONObject& other) = default;
JSONObject& JSONObject::operator=(JSONObject&& other) noexcept = default;
JSONObject::~JSONObject() = default;

JSONObject::JSONObject(std::initializer_list<std::pair<std::string_view, JSONValue>> literal) {
  members.reserve(literal.size());
  for (const auto& [key, value] : literal) {
    if (find(key) != nullptr) {
      std::fputs("a JSON object literal repeats a key\n", stderr);
      std::abort();
    }
    set(key, value);
  }
}

void JSONObject::set(std::string_view key, JSONValue value) {
  // Sources that are sorted already, as our own payloads are when read back, only ever append.
  auto position = members.end();
  if (!members.empty() && !keyBefore(members.back(), key)) {
    position = std::lower_bound(members.begin(), members.end(), key, keyBefore);
  }
  if (position != members.end() && compareText(position->key, key) == 0) {
    position->value = std::move(value);
  } else {
    members.insert(position, Member{std::string(key), std::move(value)});
  }
}

void JSONObject::merge(JSONObject other) {
  std::vector<Member> merged;
  merged.reserve(members.size() + other.members.size());
  // Of two that are equal the one of the first range is taken.
  std::set_union(std::move_iterator(other.members.begin()), std::move_iterator(other.members.end()),
                 std::move_iterator(members.begin()), std::move_iterator(members.end()),
                 std::back_inserter(merged), [](const Member& left, const Member& right) {
                   return compareText(left.key, right.key) < 0;
                 });
  members = std::move(merged);
}

void JSONObject::erase(std::string_view key) {
  const auto position = std::lower_bound(members.begin(), members.end(), key, keyBefore);
  if (position != members.end() && compareText(position->key, key) == 0) {
    members.erase(position);
  }
}

const JSONValue* JSONObject::find(std::string_view key) const {
  const auto position = std::lower_bound(members.begin(), members.end(), key, keyBefore);
  const bool found = position != members.end() && compareText(position->key, key) == 0;
  return found ? &position->value : nullptr;
}

std::size_t JSONObject::size() const noexcept { return members.size(); }
bool JSONObject::empty() const noexcept { return members.empty(); }
std::vector<JSONObject::Member>::const_iterator JSONObject::begin() const noexcept {
  return members.begin();
}
std::vector<JSONObject::Member>::const_iterator JSONObject::end() const noexcept {
  return members.end();
}

bool JSONObject::operator==(const JSONObject& other) const {
  return std::ranges::equal(members, other.members, [](const Member& a, const Member& b) {
    return compareText(a.key, b.key) == 0 && a.value == b.value;
  });
}

JSONValue JSONValue::any(const UntypedValue& untyped) {
  struct Converter {
    JSONValue operator()(std::monostate /*absent*/) const { return nullptr; }
    JSONValue operator()(bool boolean) const { return boolean; }
    JSONValue operator()(std::int64_t integer) const { return integer; }
    JSONValue operator()(std::uint64_t integer) const { return static_cast<double>(integer); }
    JSONValue operator()(double number) const { return number; }
    JSONValue operator()(const std::string& text) const { return text; }
    JSONValue operator()(const UntypedValue::List& list) const {
      Array array;
      array.reserve(list.size());
      for (const UntypedValue& element : list) {
        array.push_back(any(element));
      }
      return array;
    }
    JSONValue operator()(const UntypedValue::Map& map) const {
      Object object;
      for (const auto& [key, element] : map) {
        object.set(key, any(element));
      }
      return object;
    }
    JSONValue operator()(UntypedValue::Date /*date*/) const { return nullptr; }
    JSONValue operator()(UntypedValue::Opaque /*data*/) const { return nullptr; }
  };
  return std::visit(Converter{}, untyped.value);
}

void JSONValue::write(std::string& out) const {
  TextSink sink(out);
  JSONWriter{sink}.write(*this);
}

std::string JSONValue::text() const {
  std::string out;
  write(out);
  return out;
}

void JSONValue::writeString(std::string_view text, std::string& out) {
  TextSink sink(out);
  writeText(text, sink);
}

bool JSONValue::operator==(const JSONValue& other) const {
  if (value.index() != other.value.index()) {
    return false;
  }
  if (const auto* text = get<std::string>()) {
    return compareText(*text, *other.get<std::string>()) == 0;
  }
  return value == other.value;
}

}  // namespace orvik
