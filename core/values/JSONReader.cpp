#include "core/values/JSONReader.h"

#include <boost/json/basic_parser_impl.hpp>
#include <boost/system/error_code.hpp>

#include <string>

#include "core/values/NumberText.h"

namespace orvik {

namespace {

namespace json = boost::json;
using boost::system::error_code;

/// Builds untyped values from parser events. Boost's own values are left out for one reason: its
/// doubles may be off by one unit in the last place, and are read here from their text instead.
class Builder {
 public:
  static constexpr std::size_t max_object_size = static_cast<std::size_t>(-1);
  static constexpr std::size_t max_array_size = static_cast<std::size_t>(-1);
  static constexpr std::size_t max_key_size = static_cast<std::size_t>(-1);
  static constexpr std::size_t max_string_size = static_cast<std::size_t>(-1);

  UntypedValue root;

  bool on_document_begin(error_code& /*error*/) {
    open.push_back(&root);
    return true;
  }
  bool on_document_end(error_code& /*error*/) { return true; }

  bool on_array_begin(error_code& /*error*/) {
    open.push_back(add(UntypedValue::List{}));
    return true;
  }
  bool on_array_end(std::size_t /*count*/, error_code& /*error*/) { return close(); }
  bool on_object_begin(error_code& /*error*/) {
    open.push_back(add(UntypedValue::Map{}));
    keys.emplace_back();
    return true;
  }
  bool on_object_end(std::size_t /*count*/, error_code& /*error*/) {
    keys.pop_back();
    return close();
  }

  bool on_key_part(json::string_view part, std::size_t /*size*/, error_code& /*error*/) {
    partial.append(part.data(), part.size());
    return true;
  }
  bool on_key(json::string_view part, std::size_t /*size*/, error_code& /*error*/) {
    partial.append(part.data(), part.size());
    keys.back() = takePartial();
    return true;
  }
  bool on_string_part(json::string_view part, std::size_t size, error_code& error) {
    return on_key_part(part, size, error);
  }
  bool on_string(json::string_view part, std::size_t /*size*/, error_code& /*error*/) {
    partial.append(part.data(), part.size());
    add(takePartial());
    return true;
  }

  bool on_number_part(json::string_view part, error_code& /*error*/) {
    partial.append(part.data(), part.size());
    return true;
  }
  bool on_int64(std::int64_t integer, json::string_view /*part*/, error_code& /*error*/) {
    partial.clear();
    add(integer);
    return true;
  }
  bool on_uint64(std::uint64_t integer, json::string_view /*part*/, error_code& /*error*/) {
    partial.clear();
    add(integer);
    return true;
  }
  bool on_double(double approximate, json::string_view part, error_code& /*error*/) {
    partial.append(part.data(), part.size());
    add(parseDouble(takePartial()).value_or(approximate));
    return true;
  }
  bool on_bool(bool boolean, error_code& /*error*/) {
    add(boolean);
    return true;
  }
  bool on_null(error_code& /*error*/) {
    add(UntypedValue());
    return true;
  }
  bool on_comment_part(json::string_view /*part*/, error_code& /*error*/) { return true; }
  bool on_comment(json::string_view /*part*/, error_code& /*error*/) { return true; }

 private:
  /// Puts a value where the document is now, and says where it stands. The place stays valid
  /// while it is open: its parent gets no other element before it closes.
  UntypedValue* add(UntypedValue value) {
    if (++count > maximumValues) {
      throw JSONError("too many values");
    }
    UntypedValue& parent = *open.back();
    if (auto* list = std::get_if<UntypedValue::List>(&parent.value)) {
      return &list->emplace_back(std::move(value));
    }
    if (auto* map = std::get_if<UntypedValue::Map>(&parent.value)) {
      return &(map->insert_or_assign(keys.back(), std::move(value)).first->second);
    }
    parent = std::move(value);
    return &parent;
  }
  bool close() {
    open.pop_back();
    return true;
  }
  std::string takePartial() { return std::exchange(partial, {}); }

  std::vector<UntypedValue*> open;
  std::vector<std::string> keys;
  std::string partial;
  std::size_t count = 0;
};

}  // namespace

UntypedValue readJSON(std::string_view text) {
  json::parse_options options;
  options.max_depth = maximumNesting;
  json::basic_parser<Builder> parser(options);
  error_code error;
  const std::size_t read = parser.write_some(false, text.data(), text.size(), error);
  if (error) {
    throw JSONError(error.message());
  }
  if (read != text.size()) {
    throw JSONError("text after the end of the document");
  }
  return std::move(parser.handler().root);
}

UntypedValue readJSONOrNull(std::string_view text) {
  try {
    return readJSON(text);
  } catch (const JSONError&) {
    return {};
  }
}

}  // namespace orvik
