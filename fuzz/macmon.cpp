#include <cstdlib>

#include "core/sampling/mac/MacmonParsing.h"
#include "core/values/JSONReader.h"
#include "core/values/Text.h"

/// Whatever a line of the tool says, all fifteen keys come out of it, as text that can be sent.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace orvik;
  try {
    const UntypedValue line = readJSON({reinterpret_cast<const char*>(data), size});
    if (const auto* object = line.get<UntypedValue::Map>()) {
      PowerGuard guard;
      // Often enough for the guard to take notice.
      for (int reading = 0; reading < 8; ++reading) {
        const JSONObject keys = SamplerParsing::macmon(*object, guard);
        if (keys.size() != 15 || !isValidUTF8(JSONValue(keys).text())) {
          std::abort();
        }
      }
    }
  } catch (const JSONError&) {
  }
  return 0;
}
