#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "core/values/JSONValue.h"
#include "core/values/UntypedValue.h"

/// What is connected to the machine: volumes, USB and Bluetooth devices, displays. Pure functions
/// that take what the Mac's tools print, broken and hostile output included; what is unknown or
/// malformed is skipped entry by entry and member by member.
namespace orvik::ConnectionsParsing {

/// What `system_profiler -json` printed, also when it has printed lines of its log before or after
/// the document. Null when there is no document.
[[nodiscard]] UntypedValue profilerDocument(std::string_view text);

/// A mounted volume that a person would browse.
struct Volume {
  std::string name;
  std::int64_t sizeBytes = 0;
  std::int64_t freeBytes = 0;
  /// How it is attached ("USB"); nothing when unknown.
  std::optional<std::string> protocol;
  /// The name of the medium that it lives on, which tells the USB device that carries it. Empty
  /// when unknown. Not part of the JSON value.
  std::string media;
  bool isTimeMachine = false;

  [[nodiscard]] JSONValue json() const;
  bool operator==(const Volume&) const = default;
};

/// Whether a person would browse the volume of this storage entry, judged by its name and by where
/// it is mounted: as the start-up volume or directly in /Volumes. The system's own volumes and
/// snapshots are mounted elsewhere or hidden.
[[nodiscard]] bool isBrowsable(const UntypedValue& entry);

/// The volumes of the storage data, given as the whole document or as the list of its entries. A
/// container whose volumes share their space is listed once. The start-up volume comes first, the
/// others follow by name whatever its case. Entries without name, size or free space are skipped.
/// A volume with the name of `timeMachineDisk`, case kept, is marked.
[[nodiscard]] std::vector<Volume> volumes(
    const UntypedValue& storage, const std::optional<std::string>& timeMachineDisk = std::nullopt,
    const std::function<bool(const UntypedValue& entry)>& browsable = isBrowsable);

/// Labels of the link speeds, by the code under "Device Speed".
inline constexpr std::array<std::string_view, 6> usbSpeeds = {
    // The comma is what phones know this speed by.
    "1,5 Mb/s", "12 Mb/s", "480 Mb/s", "5 Gb/s", "10 Gb/s", "20 Gb/s"};

struct USBKind {
  std::int64_t classCode;
  std::string_view kind;
};
/// The kinds that a USB class code tells; all others are "other".
inline constexpr std::array<USBKind, 7> usbKinds = {{{1, "audio"},
                                                     {3, "keyboard"},
                                                     {6, "camera"},
                                                     {7, "printer"},
                                                     {8, "storage"},
                                                     {14, "camera"},
                                                     {17, "adapter"}}};

/// The kind of a class code; nothing when it tells none.
[[nodiscard]] std::optional<std::string_view> kindOfUSBClass(std::optional<std::int64_t> code);

struct USBDevice {
  /// "?" when none is known.
  std::string name;
  std::optional<std::string> maker;
  /// One of usbSpeeds.
  std::optional<std::string> speed;
  /// One of usbKinds, or "other".
  std::string kind;
  /// The device carries a mounted volume, of this name. Set by linkVolumes.
  bool storage = false;
  std::optional<std::string> volume;

  [[nodiscard]] JSONValue json() const;
  bool operator==(const USBDevice&) const = default;
};

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

/// The displays of the document, in its order: an array of objects with "name", "width", "height",
/// "refresh_hz" (a double, or null), "main" and "builtin". The size is in pixels of the panel where
/// the tool tells it, otherwise that of the mode that the display is in. Entries without name or
/// size, such as connectors with nothing on them, are skipped.
[[nodiscard]] JSONValue displays(const UntypedValue& document);

/// "bluetooth_on" (null when unknown) and "bluetooth", the connected devices by name whatever its
/// case: an array of objects with "name", "kind", "battery" (per cent, or null) and, for those that
/// report them, "battery_left", "battery_right" and "battery_case". Reads every form that the
/// document has had since macOS 12. Empty when the document has no Bluetooth data.
[[nodiscard]] JSONObject bluetooth(const UntypedValue& document);

}  // namespace orvik::ConnectionsParsing
