#include "core/client/Presence.h"

#include <cstdlib>

/// The counts stay sane whatever a relay says.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace orvik;
  const auto presence = Presence::fromRelay({reinterpret_cast<const char*>(data), size});
  if (presence && (presence->active < 0 || presence->active > presence->viewers)) {
    std::abort();
  }
  return 0;
}
