#include "core/sampling/mac/USBParsing.h"

#include <algorithm>
#include <set>
#include <span>

#include "core/sampling/mac/ProfilerDocument.h"
#include "core/values/JSONMembers.h"
#include "core/values/NumberText.h"
#include "core/values/PropertyList.h"
#include "core/values/Text.h"

namespace orvik::ConnectionsParsing {

namespace {

constexpr std::int64_t hubClass = 9;

/// Empty when the entry has no such member.
std::string propertyText(const UntypedValue& entry, std::string_view key) {
  const UntypedValue* value = entry.find(key);
  return value == nullptr ? std::string() : pyText(*value);
}

bool isOfClass(const UntypedValue& entry, std::string_view name) {
  const auto* text = entry.get<std::string>("IOObjectClass");
  return text != nullptr && *text == name;
}

bool isDevice(const UntypedValue& entry) { return isOfClass(entry, "IOUSBHostDevice"); }

/// Visits entries and what is below them, each before what is below it, and goes below only those
/// for which `visit` says so. Does not recurse: the depth is the dump's to decide.
template <typename Visit>
void walk(std::span<const UntypedValue> entries, Visit visit) {
  std::vector<const UntypedValue*> open;
  const auto add = [&open](std::span<const UntypedValue> siblings) {
    std::for_each(siblings.rbegin(), siblings.rend(),
                  [&open](const UntypedValue& entry) { open.push_back(&entry); });
  };
  add(entries);
  while (!open.empty()) {
    const UntypedValue& entry = *open.back();
    open.pop_back();
    if (visit(entry)) {
      add(listMember(entry, "IORegistryEntryChildren"));
    }
  }
}

std::optional<std::string> speedLabel(const UntypedValue& device) {
  const auto code = integerMember(device, "Device Speed");
  if (!code || *code < 0 || *code >= static_cast<std::int64_t>(usbSpeeds.size())) {
    return std::nullopt;
  }
  return std::string(usbSpeeds[static_cast<std::size_t>(*code)]);
}

USBDevice describedDevice(const UntypedValue& entry) {
  USBDevice device;
  for (const char* key : {"IORegistryEntryName", "kUSBProductString"}) {
    device.name = propertyText(entry, key);
    if (!device.name.empty()) {
      break;
    }
  }
  if (device.name.empty()) {
    device.name = "?";
  }
  const std::string vendor = propertyText(entry, "USB Vendor Name");
  if (const std::string_view maker = trimmed(vendor); !maker.empty()) {
    device.maker = maker;
  }
  device.speed = speedLabel(entry);
  device.kind = usbKind(entry);
  return device;
}

}  // namespace

std::string usbKind(const UntypedValue& device) {
  auto kind = kindOfUSBClass(integerMember(device, "bDeviceClass"));
  if (!kind) {
    walk(listMember(device, "IORegistryEntryChildren"), [&kind](const UntypedValue& child) {
      // What is behind a device that is behind this one says nothing about this one.
      if (kind || isDevice(child)) {
        return false;
      }
      if (isOfClass(child, "IOUSBHostInterface")) {
        kind = kindOfUSBClass(integerMember(child, "bInterfaceClass"));
      }
      return true;
    });
  }
  return std::string(kind.value_or("other"));
}

std::vector<USBDevice> usbDevices(std::string_view text) {
  const std::string_view content = trimmed(text);
  if (content.empty()) {
    return {};
  }
  // A binary list may end in bytes that look like blanks: only the start is cut.
  const UntypedValue root = readPropertyList({content.data(), text.data() + text.size()});
  std::span<const UntypedValue> roots(&root, 1);
  if (const auto* list = root.get<UntypedValue::List>()) {
    roots = *list;
  }
  std::vector<USBDevice> devices;
  std::set<std::optional<std::int64_t>> seen;
  walk(roots, [&](const UntypedValue& entry) {
    if (isDevice(entry) && integerMember(entry, "bDeviceClass") != hubClass &&
        seen.insert(integerMember(entry, "locationID")).second) {
      devices.push_back(describedDevice(entry));
    }
    return true;
  });
  return devices;
}

void linkVolumes(std::vector<USBDevice>& devices, const std::vector<Volume>& volumes) {
  std::vector<std::string> media;
  media.reserve(volumes.size());
  for (const Volume& volume : volumes) {
    media.push_back(lowercased(volume.media));
  }
  for (USBDevice& device : devices) {
    const std::string name = lowercased(trimmed(device.name));
    if (name.empty()) {
      continue;
    }
    const auto match = std::ranges::find_if(media, [&name](const std::string& medium) {
      return medium.find(name) != std::string::npos;
    });
    if (match != media.end()) {
      device.storage = true;
      device.volume = volumes[static_cast<std::size_t>(match - media.begin())].name;
    }
  }
}

}  // namespace orvik::ConnectionsParsing
