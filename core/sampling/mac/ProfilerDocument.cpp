#include "core/sampling/mac/ConnectionsParsing.h"
#include "core/values/JSONReader.h"

namespace orvik::ConnectionsParsing {

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
  try {
    return readJSON(text.substr(start, last + 1 - start));
  } catch (const JSONError&) {
    return {};
  }
}

}  // namespace orvik::ConnectionsParsing
