#pragma once

namespace orvik::relay {

/// Keeps signals away from the calling thread: those that end the program are for another, and
/// writing to a connection that has ended is to be an error only.
void blockSignals();

}  // namespace orvik::relay
