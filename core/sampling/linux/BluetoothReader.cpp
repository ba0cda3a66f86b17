#include "core/sampling/linux/BluetoothReader.h"

#include <algorithm>
#include <array>
#include <optional>
#include <string_view>
#include <utility>

#include "core/values/JSONMembers.h"
#include "core/values/Text.h"

namespace orvik {

namespace {

/// The icon names that the service gives devices by their class or appearance.
constexpr std::array<std::pair<std::string_view, std::string_view>, 10> kinds{
    {{"audio-card", "speaker"},
     {"audio-headphones", "headphones"},
     {"audio-headset", "headset"},
     {"computer", "computer"},
     {"input-gaming", "gamepad"},
     {"input-keyboard", "keyboard"},
     {"input-mouse", "mouse"},
     {"input-tablet", "tablet"},
     {"phone", "phone"},
     {"printer", "printer"}}};

bool isTrue(const UntypedValue& interface, std::string_view name) {
  const bool* const value = interface.get<bool>(name);
  return value != nullptr && *value;
}

JSONValue kindOf(const UntypedValue& device) {
  const auto* const icon = device.get<std::string>("Icon");
  const auto* const kind =
      icon == nullptr
          ? kinds.end()
          : std::ranges::find(kinds, *icon, &std::pair<std::string_view, std::string_view>::first);
  return kind == kinds.end() ? "other" : kind->second;
}

JSONValue batteryOf(const UntypedValue& object) {
  const UntypedValue* const battery = object.find("org.bluez.Battery1");
  const auto* const percentage =
      battery == nullptr ? nullptr : battery->get<std::int64_t>("Percentage");
  return percentage != nullptr && *percentage >= 0 && *percentage <= 100 ? JSONValue(*percentage)
                                                                         : JSONValue();
}

}  // namespace

JSONObject bluetoothMembers(const UntypedValue& objects) {
  const auto* const map = objects.get<UntypedValue::Map>();
  if (map == nullptr) {
    return {};
  }
  std::optional<bool> isOn;
  std::vector<std::pair<std::string, JSONValue>> devices;
  for (const auto& [path, object] : *map) {
    if (const UntypedValue* const adapter = object.find("org.bluez.Adapter1")) {
      isOn = isOn.value_or(false) || isTrue(*adapter, "Powered");
    }
    const UntypedValue* const device = object.find("org.bluez.Device1");
    // The alias is the name that the user gave, or else the device's own; there always is one.
    const auto* const name = device == nullptr ? nullptr : device->get<std::string>("Alias");
    if (name != nullptr && isTrue(*device, "Connected")) {
      devices.emplace_back(
          lowercased(*name),
          JSONObject{{"name", *name}, {"kind", kindOf(*device)}, {"battery", batteryOf(object)}});
    }
  }
  std::ranges::stable_sort(
      devices, [](const auto& left, const auto& right) { return left.first < right.first; });
  JSONValue::Array array;
  for (auto& [name, device] : devices) {
    array.push_back(std::move(device));
  }
  return {{"bluetooth_on", orNull(isOn)}, {"bluetooth", std::move(array)}};
}

JSONObject BluetoothReader::read(SystemBus& bus, Instant now) {
  if (!rest.isDue(now)) {
    return {};
  }
  bus.allow(limit);
  const auto objects = bus.call({.service = "org.bluez",
                                 .object = "/",
                                 .interface = "org.freedesktop.DBus.ObjectManager",
                                 .name = "GetManagedObjects"});
  if (bus.isLate()) {
    rest.refreshed(now, now);
  }
  return objects ? bluetoothMembers(*objects) : JSONObject();
}

}  // namespace orvik
