#include "core/sampling/mac/BluetoothParsing.h"

#include <unicode/uchar.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <utility>

#include "core/sampling/mac/ProfilerDocument.h"
#include "core/values/JSONMembers.h"
#include "core/values/Text.h"

namespace orvik::ConnectionsParsing {

namespace {

struct Device {
  /// The name by which it is sorted.
  std::string key;
  JSONObject json;
};

/// By the type that the tool names, in lower case. What is used alike has one kind.
std::string kindOf(const UntypedValue& properties) {
  using Kind = std::pair<std::string_view, std::string_view>;
  static constexpr auto kinds = std::to_array<Kind>({{"cell phone", "phone"},
                                                     {"cellular", "phone"},
                                                     {"computer", "computer"},
                                                     {"desktop computer", "computer"},
                                                     {"game controller", "gamepad"},
                                                     {"gamepad", "gamepad"},
                                                     {"hands-free", "headset"},
                                                     {"handsfree", "headset"},
                                                     {"headphones", "headphones"},
                                                     {"headset", "headset"},
                                                     {"joystick", "gamepad"},
                                                     {"keyboard", "keyboard"},
                                                     {"laptop", "computer"},
                                                     {"loudspeaker", "speaker"},
                                                     {"microphone", "microphone"},
                                                     {"mobile phone", "phone"},
                                                     {"mouse", "mouse"},
                                                     {"pen", "pen"},
                                                     {"phone", "phone"},
                                                     {"printer", "printer"},
                                                     {"remote control", "remote"},
                                                     {"smart phone", "phone"},
                                                     {"smartphone", "phone"},
                                                     {"speaker", "speaker"},
                                                     {"speakers", "speaker"},
                                                     {"stylus", "pen"},
                                                     {"tablet", "tablet"},
                                                     {"trackpad", "trackpad"},
                                                     {"watch", "watch"},
                                                     {"wrist watch", "watch"}});
  auto type = textMember(properties, "device_minorType");
  if (!type) {
    type = textMember(properties, "device_minorClassOfDevice_string");
  }
  const std::string words = lowercased(trimmed(type.value_or("")));
  const auto* const known = std::ranges::find(kinds, std::string_view(words), &Kind::first);
  return std::string(known == kinds.end() ? "other" : known->second);
}

bool isLevel(double number) { return number >= 0 && number <= 100; }

/// "85%", "85 %", "%85": the Mac's language decides on which side the sign stands, what it looks
/// like and which digits there are.
std::optional<std::int64_t> levelIn(std::string_view text) {
  constexpr UChar32 percent = 0x25;
  constexpr UChar32 arabicPercent = 0x66A;
  std::optional<std::int64_t> level;
  bool hasEnded = false;
  for (std::size_t at = 0; at < text.size();) {
    const UChar32 character = nextCodePoint(text, at);
    const std::int32_t digit = u_charDigitValue(character);
    if (digit >= 0 && !hasEnded) {
      level = level.value_or(0) * 10 + digit;
      if (!isLevel(static_cast<double>(*level))) {
        return std::nullopt;
      }
      continue;
    }
    const bool isMark = character == percent || character == arabicPercent ||
                        u_isUWhiteSpace(character) != 0 ||
                        u_hasBinaryProperty(character, UCHAR_BIDI_CONTROL) != 0;
    if (!isMark) {
      return std::nullopt;
    }
    hasEnded = level.has_value();
  }
  return level;
}

std::optional<std::int64_t> level(const UntypedValue& properties,
                                  std::initializer_list<const char*> keys) {
  for (const char* key : keys) {
    const UntypedValue* value = properties.find(key);
    std::optional<std::int64_t> found;
    if (value == nullptr) {
      continue;
    }
    if (const auto* text = value->get<std::string>()) {
      found = levelIn(*text);
    } else if (const auto* integer = value->get<std::int64_t>()) {
      found = isLevel(static_cast<double>(*integer)) ? std::optional(*integer) : std::nullopt;
    } else if (const auto* number = value->get<double>()) {
      found = isLevel(*number) ? std::optional<std::int64_t>(std::lround(*number)) : std::nullopt;
    }
    if (found) {
      return found;
    }
  }
  return std::nullopt;
}

JSONObject describedDevice(const std::string& name, const UntypedValue& properties) {
  const auto battery = level(
      properties, {"device_batteryLevelMain", "device_batteryLevel", "device_batteryPercent"});
  JSONObject device{{"name", name}, {"kind", kindOf(properties)}, {"battery", orNull(battery)}};
  constexpr auto parts = std::to_array<std::array<const char*, 3>>(
      {{"battery_left", "device_batteryLevelLeft", "device_batteryPercentLeft"},
       {"battery_right", "device_batteryLevelRight", "device_batteryPercentRight"},
       {"battery_case", "device_batteryLevelCase", "device_batteryPercentCase"}});
  for (const auto& [key, newer, older] : parts) {
    if (const auto charge = level(properties, {newer, older})) {
      device.set(key, *charge);
    }
  }
  return device;
}

/// A flag: "attrib_on", "attrib_On", "attrib_Yes", or the bare word. Nothing when it is neither
/// yes nor no.
std::optional<bool> flag(const UntypedValue& map, std::string_view key) {
  constexpr std::string_view prefix = "attrib_";
  std::string word = lowercased(textMember(map, key).value_or(""));
  if (word.starts_with(prefix)) {
    word.erase(0, prefix.size());
  }
  const bool isYes = word == "on" || word == "yes";
  const bool isNo = word == "off" || word == "no";
  return isYes || isNo ? std::optional(isYes) : std::nullopt;
}

using IsConnected = bool (*)(const UntypedValue& properties);

/// Adds the devices of a list whose entries are maps from a device's name to its properties.
void addDevices(const UntypedValue::List& list, IsConnected isConnected,
                std::vector<Device>& devices) {
  for (const UntypedValue& entry : list) {
    const auto* named = entry.get<UntypedValue::Map>();
    if (named == nullptr) {
      continue;
    }
    for (const auto& [name, properties] : *named) {
      const bool isDevice = properties.get<UntypedValue::Map>() != nullptr;
      if (isDevice && !trimmed(name).empty() && isConnected(properties)) {
        devices.push_back({lowercased(name), describedDevice(name, properties)});
      }
    }
  }
}

void addConnected(const UntypedValue& controller, std::vector<Device>& devices) {
  const IsConnected always = [](const UntypedValue&) { return true; };
  const IsConnected ifItSaysSo = [](const UntypedValue& properties) {
    return flag(properties, "device_isconnected").value_or(false) ||
           flag(properties, "device_connected").value_or(false);
  };
  addDevices(listMember(controller, "device_connected"), always, devices);
  // Until macOS 12.2 one list held all devices, and each said for itself whether it was connected.
  addDevices(listMember(controller, "devices_list"), ifItSaysSo, devices);
  addDevices(listMember(controller, "device_title"), ifItSaysSo, devices);
}

std::optional<bool> isOn(const UntypedValue& controller) {
  for (const auto& [part, key] : {std::pair{"controller_properties", "controller_state"},
                                  std::pair{"local_device_title", "general_power"}}) {
    const UntypedValue* properties = controller.find(part);
    const auto state = properties == nullptr ? std::nullopt : flag(*properties, key);
    if (state) {
      return state;
    }
  }
  return std::nullopt;
}

}  // namespace

JSONObject bluetooth(const UntypedValue& document) {
  const auto* controllers = document.get<UntypedValue::List>("SPBluetoothDataType");
  if (controllers == nullptr) {
    return {};
  }
  std::optional<bool> on;
  std::vector<Device> devices;
  for (const UntypedValue& controller : *controllers) {
    if (const auto state = isOn(controller)) {
      on = on.value_or(false) || *state;
    }
    addConnected(controller, devices);
  }
  std::ranges::stable_sort(devices, {}, &Device::key);
  JSONValue::Array list;
  list.reserve(devices.size());
  for (Device& device : devices) {
    list.emplace_back(std::move(device.json));
  }
  return {{"bluetooth_on", orNull(on)}, {"bluetooth", std::move(list)}};
}

}  // namespace orvik::ConnectionsParsing
