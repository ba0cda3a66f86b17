#pragma once

#include "core/values/JSONValue.h"
#include "core/values/UntypedValue.h"

/// Pure functions that take what the Mac's tools print, broken and hostile output included; what is
/// unknown or malformed is skipped entry by entry and member by member.
namespace orvik::ConnectionsParsing {

/// "bluetooth_on" (null when unknown) and "bluetooth", the connected devices by name whatever its
/// case: an array of objects with "name", "kind", "battery" (per cent, or null) and, for those that
/// report them, "battery_left", "battery_right" and "battery_case". Reads every form that the
/// document has had since macOS 12. Empty when the document has no Bluetooth data.
[[nodiscard]] JSONObject bluetooth(const UntypedValue& document);

}  // namespace orvik::ConnectionsParsing
