#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "core/sampling/USBDevice.h"
#include "core/sampling/Volume.h"
#include "core/values/UntypedValue.h"

/// Pure functions that take what the Mac's tools print, broken and hostile output included; what is
/// unknown or malformed is skipped entry by entry and member by member.
namespace orvik::ConnectionsParsing {

/// The devices of a registry dump (`ioreg -a -r -c IOUSBHostDevice -l`, a property list), each
/// before those behind it. Hubs are left out. A location is listed once, since the dump repeats
/// devices that are behind others; devices without a location count as one location.
[[nodiscard]] std::vector<USBDevice> usbDevices(std::string_view text);

/// The kind of the device with these properties: by its class, otherwise by the first of its
/// interfaces that has a known one.
[[nodiscard]] std::string usbKind(const UntypedValue& device);

/// Tells each device the first volume whose medium's name contains the device's name, whatever
/// their case.
void linkVolumes(std::vector<USBDevice>& devices, const std::vector<Volume>& volumes);

}  // namespace orvik::ConnectionsParsing
