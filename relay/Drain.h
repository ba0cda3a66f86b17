#pragma once

#include "core/async/Clock.h"

namespace orvik::relay {

/// Spreads the closing of connections over a time, so that their clients do not all come back in
/// the same second.
class Drain {
 public:
  Drain(Instant begin, Clock::Duration spread) : last(begin), end(begin + spread) {}

  /// How many of the `remaining` connections are to be closed now: their share of the time that
  /// has passed since the last question; all of them at the end.
  [[nodiscard]] std::size_t due(Instant now, std::size_t remaining);

 private:
  Instant last;
  Instant end;
  /// Of a connection, what earlier shares have left over.
  double owed = 0;
};

}  // namespace orvik::relay
