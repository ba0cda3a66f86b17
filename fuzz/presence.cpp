// Own code: core/client/Presence
#include "core/client/Presence.h"

#include <cstdint>
#include <cstdlib>

/// The counts of phones and of alerts that are safe stay sane whatever a relay says.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace orvik;
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  const auto presence = Presence::fromRelay(text);
  if (presence && (presence->active < 0 || presence->active > presence->viewers)) {
    std::abort();
  }
  const auto safe = safeAlertsFromRelay(text);
  if (safe && *safe > INT64_MAX) {
    std::abort();
  }
  static_cast<void>(saysThatItPushes(text));
  return 0;
}
