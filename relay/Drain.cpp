#include "relay/Drain.h"

#include <algorithm>

namespace orvik::relay {

std::size_t Drain::due(Instant now, std::size_t remaining) {
  if (now >= end) {
    return remaining;
  }
  const double part = std::chrono::duration<double>(now - last) / (end - last);
  last = now;
  owed += static_cast<double>(remaining) * part;
  const auto count = std::min(remaining, static_cast<std::size_t>(owed));
  owed -= static_cast<double>(count);
  return count;
}

}  // namespace orvik::relay
