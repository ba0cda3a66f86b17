#include "core/sampling/mac/ProfilerDocument.h"

#include "core/values/JSONReader.h"
#include "core/values/Text.h"

namespace orvik {

const UntypedValue::List& listMember(const UntypedValue& map, std::string_view key) {
  static const UntypedValue::List none;
  const auto* list = map.get<UntypedValue::List>(key);
  return list == nullptr ? none : *list;
}

std::optional<std::string> textMember(const UntypedValue& map, std::string_view key) {
  const auto* text = map.get<std::string>(key);
  return text == nullptr || trimmed(*text).empty() ? std::nullopt : std::optional(*text);
}

std::optional<std::int64_t> integerMember(const UntypedValue& map, std::string_view key) {
  const auto* integer = map.get<std::int64_t>(key);
  return integer == nullptr ? std::nullopt : std::optional(*integer);
}

namespace ConnectionsParsing {

namespace {

/// The tool indents everything inside of the document, so that it begins with the first line that
/// begins with a brace.
std::size_t documentStart(std::string_view text) {
  if (text.starts_with('{')) {
    return 0;
  }
  const std::size_t lineEnd = text.find("\n{");
  return lineEnd == std::string_view::npos ? lineEnd : lineEnd + 1;
}

}  // namespace

UntypedValue profilerDocument(std::string_view text) {
  const std::size_t start = documentStart(text);
  if (start == std::string_view::npos) {
    return {};
  }
  const std::size_t last = text.find_last_of('}');
  if (last == std::string_view::npos || last < start) {
    return {};
  }
  return readJSONOrNull(text.substr(start, last + 1 - start));
}

}  // namespace ConnectionsParsing

}  // namespace orvik
