#include "core/values/JSONValue.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdio>
#include <cstdlib>

#include "core/values/NumberText.h"
#include "core/values/Text.h"
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

void writeEscape(char c, std::string& out) {
  constexpr std::string_view digits = "0123456789abcdef";
  switch (c) {
    case '"':
      out.append("\\\"");
      break;
    case '\\':
      out.append("\\\\");
      break;
    case '\n':
      out.append("\\n");
      break;
    case '\r':
      out.append("\\r");
      break;
    case '\t':
      out.append("\\t");
      break;
    default: {
      const auto byte = static_cast<unsigned char>(c);
      out.append("\\u00");
      out.push_back(digits[byte >> 4U]);
      out.push_back(digits[byte & 0xFU]);
    }
  }
}

void writeInteger(std::int64_t integer, std::string& out) {
  std::array<char, 20> buffer{};
  const auto result = std::to_chars(buffer.data(), buffer.data() + buffer.size(), integer);
  out.append(buffer.data(), result.ptr);
}

struct Writer {
  std::string& out;

  void operator()(bool boolean) const { out.append(boolean ? "true" : "false"); }
  void operator()(std::int64_t integer) const { writeInteger(integer, out); }
  void operator()(double number) const { appendDoubleText(number, out); }
  void operator()(const std::string& text) const { JSONValue::writeString(text, out); }
  void operator()(JSONValue::Null /*null*/) const { out.append("null"); }

  void operator()(const JSONValue::Array& array) const {
    out.push_back('[');
    bool first = true;
    for (const JSONValue& element : array) {
      if (!first) {
        out.push_back(',');
      }
      first = false;
      element.write(out);
    }
    out.push_back(']');
  }

  void operator()(const JSONObject& object) const {
    out.push_back('{');
    bool first = true;
    for (const auto& [key, value] : object) {
      if (!first) {
        out.push_back(',');
      }
      first = false;
      JSONValue::writeString(key, out);
      out.push_back(':');
      value.write(out);
    }
    out.push_back('}');
  }
};

}  // namespace

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
  for (Member& member : other.members) {
    set(member.key, std::move(member.value));
  }
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
    JSONValue operator()(UntypedValue::Opaque /*date, data*/) const { return nullptr; }
  };
  return std::visit(Converter{}, untyped.value);
}

void JSONValue::write(std::string& out) const { std::visit(Writer{out}, value); }

std::string JSONValue::text() const {
  std::string out;
  write(out);
  return out;
}

void JSONValue::writeString(std::string_view text, std::string& out) {
  out.push_back('"');
  std::size_t runStart = 0;
  std::size_t position = 0;
  while (position < text.size()) {
    const ByteClass byteClass = byteClasses[static_cast<unsigned char>(text[position])];
    if (byteClass == ByteClass::plain) {
      ++position;
      continue;
    }
    out.append(text, runStart, position - runStart);
    if (byteClass == ByteClass::escaped) {
      writeEscape(text[position], out);
      ++position;
    } else {
      appendRepairedCodePoint(text, position, out);
    }
    runStart = position;
  }
  out.append(text, runStart);
  out.push_back('"');
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
