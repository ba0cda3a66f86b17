#include "phone/terminal/ConnectionsView.h"

#include <cmath>

#include "phone/terminal/Quantity.h"

namespace orvik {

namespace {

/// More devices of one kind than this are only counted: the page is to be read at a glance.
constexpr std::size_t shownDevices = 12;

/// "name (detail, detail)"
std::string named(const std::string& name, const std::vector<std::string>& details) {
  std::string text = name;
  for (std::size_t i = 0; i < details.size(); ++i) {
    text += (i == 0 ? " (" : ", ") + details[i];
  }
  return details.empty() ? text : text + ")";
}

void append(std::vector<std::string>& items, std::optional<std::string> text) {
  if (text) {
    items.push_back(std::move(*text));
  }
}

std::string usbDevice(const Readings& device, const std::string& name) {
  std::vector<std::string> details;
  append(details, device.text("maker"));
  append(details, device.text("speed"));
  const auto volume = device.text("volume");
  if (volume) {
    details.push_back("volume " + *volume);
  } else if (const auto kind = device.text("kind"); kind && kind != "other") {
    details.push_back(*kind);
  }
  return named(name, details);
}

std::string volume(const Readings& volume, const std::string& name) {
  std::vector<std::string> details;
  const auto size = volume.integer("size_bytes");
  const auto free = volume.integer("free_bytes");
  if (free && *free >= 0) {
    const bool hasSize = size && *size > 0;
    details.push_back(byteCountText(*free) + " free" +
                      (hasSize ? " of " + byteCountText(*size) : std::string()));
  }
  append(details, volume.text("protocol"));
  if (volume.flag("is_time_machine").value_or(false)) {
    details.emplace_back("backups");
  }
  return named(name, details);
}

std::string display(const Readings& display, const std::string& name) {
  std::vector<std::string> details;
  const auto width = display.integer("width");
  const auto height = display.integer("height");
  if (width && height) {
    const auto rate = display.number("refresh_hz");
    details.push_back(std::to_string(*width) + " x " + std::to_string(*height) +
                      (rate ? ", " + std::to_string(std::lround(*rate)) + " Hz" : std::string()));
  }
  return named(name, details);
}

std::string bluetoothDevice(const Readings& device, const std::string& name) {
  std::vector<std::string> details;
  // Ear buds and their case report their charge apart.
  for (const auto& [key, part] : {std::pair{"battery", ""},
                                  {"battery_left", "left "},
                                  {"battery_right", "right "},
                                  {"battery_case", "case "}}) {
    if (const auto charge = device.integer(key)) {
      details.push_back(part + std::to_string(*charge) + " %");
    }
  }
  return named(name, details);
}

/// The named entries of a list, each described by `describe`.
template <typename Describe>
std::vector<std::string> devices(const UntypedValue::List& list, Describe describe) {
  std::vector<std::string> items;
  std::size_t hidden = 0;
  for (const UntypedValue& entry : list) {
    const Readings device(&entry);
    const auto name = device.text("name");
    if (name && items.size() < shownDevices) {
      items.push_back(describe(device, *name));
    } else if (name) {
      ++hidden;
    }
  }
  if (hidden > 0) {
    items.push_back(std::to_string(hidden) + " more");
  }
  return items;
}

std::vector<std::string> network(const Readings& network) {
  std::vector<std::string> items;
  append(items, network.text("link"));
  const auto gateway = network.text("gateway");
  const auto router = network.text("router");
  if (gateway) {
    items.push_back("gateway " + *gateway + (router ? " (" + *router + ")" : std::string()));
  }
  return items;
}

}  // namespace

void addConnections(const Readings& connections, ViewPage& page) {
  page.group("Network", network(connections.member("network")));
  page.group("Displays", devices(connections.list("displays"), display));
  page.group("Bluetooth", devices(connections.list("bluetooth"), bluetoothDevice));
  page.group("USB", devices(connections.list("usb"), usbDevice));
  page.group("Volumes", devices(connections.list("volumes"), volume));
}

}  // namespace orvik
