// Own code: core/values/JSON
#include <cstdlib>

#include "core/values/JSONReader.h"
#include "core/values/JSONValue.h"
#include "core/values/Text.h"

/// What is read can be written, and reads back to the same text.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace orvik;
  try {
    const std::string text =
        JSONValue::any(readJSON({reinterpret_cast<const char*>(data), size})).text();
    if (!isValidUTF8(text) || JSONValue::any(readJSON(text)).text() != text) {
      std::abort();
    }
  } catch (const JSONError&) {
  }
  return 0;
}
