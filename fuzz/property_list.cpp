// Own code: core/values/PropertyList
#include <cstdlib>

#include "core/values/JSONValue.h"
#include "core/values/PropertyList.h"
#include "core/values/Text.h"

/// Whatever a tool prints, the payload made of it is valid UTF-8.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace orvik;
  const auto value = readPropertyList({reinterpret_cast<const char*>(data), size});
  if (!isValidUTF8(JSONValue::any(value).text())) {
    std::abort();
  }
  return 0;
}
