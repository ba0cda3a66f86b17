#pragma once

#include "phone/terminal/Readings.h"
#include "phone/terminal/ViewPage.h"

namespace orvik {

/// Adds what the computer is connected to, the "connections" object of a sample: network,
/// displays, Bluetooth and USB devices, volumes.
void addConnections(const Readings& connections, ViewPage& page);

}  // namespace orvik
