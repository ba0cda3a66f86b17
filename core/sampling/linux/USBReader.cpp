#include "core/sampling/linux/USBReader.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <optional>
#include <string_view>

#include "core/system/linux/TextFile.h"
#include "core/values/Text.h"

namespace orvik {

namespace {

using ConnectionsParsing::USBDevice;

constexpr std::int64_t hubClass = 9;

/// The speeds of usbSpeeds as the kernel writes them, in megabits per second.
constexpr std::array<std::string_view, ConnectionsParsing::usbSpeeds.size()> kernelSpeeds{
    "1.5", "12", "480", "5000", "10000", "20000"};

std::optional<std::string> speedLabel(std::string_view kernelSpeed) {
  const auto* const found = std::ranges::find(kernelSpeeds, kernelSpeed);
  return found == kernelSpeeds.end()
             ? std::nullopt
             : std::optional(std::string(ConnectionsParsing::usbSpeeds.at(
                   static_cast<std::size_t>(found - kernelSpeeds.begin()))));
}

/// A class code, two hexadecimal digits; nothing when the file is not there.
std::optional<std::int64_t> readClass(const std::string& path) {
  const std::string text = readLine(path);
  std::int64_t code = 0;
  return std::from_chars(text.data(), text.data() + text.size(), code, 16).ec == std::errc{}
             ? std::optional(code)
             : std::nullopt;
}

std::optional<std::string> readName(const std::string& path) {
  const std::string text = repairedUTF8(readLine(path));
  return text.empty() ? std::nullopt : std::optional(text);
}

/// The product's name, or at least the numbers by which it can be looked up.
std::string nameOf(const std::string& device) {
  if (auto product = readName(device + "/product")) {
    return *product;
  }
  const std::string vendor = readLine(device + "/idVendor");
  const std::string product = readLine(device + "/idProduct");
  return vendor.empty() || product.empty() ? "?" : repairedUTF8(vendor + ":" + product);
}

/// Where the device as a whole has no kind, the first of its interfaces that has one decides.
std::string kindOf(const std::string& folder, const std::string& device,
                   const std::vector<std::string>& names) {
  auto kind = ConnectionsParsing::kindOfUSBClass(readClass(folder + device + "/bDeviceClass"));
  for (const std::string& name : names) {
    if (!kind && name.starts_with(device + ":")) {
      kind = ConnectionsParsing::kindOfUSBClass(readClass(folder + name + "/bInterfaceClass"));
    }
  }
  return std::string(kind.value_or("other"));
}

}  // namespace

std::vector<USBDevice> readUSBDevices(const std::string& root,
                                      std::span<const MountedVolume> volumes) {
  const std::string folder = root + "/sys/bus/usb/devices/";
  const std::vector<std::string> names = namesIn(folder);
  std::vector<USBDevice> devices;
  for (const std::string& name : names) {
    const auto deviceClass = readClass(folder + name + "/bDeviceClass");
    // Interfaces have no class of a device.
    if (!deviceClass || deviceClass == hubClass) {
      continue;
    }
    const auto carried = std::ranges::find(volumes, name, &MountedVolume::usbDevice);
    const bool isStorage = carried != volumes.end();
    devices.push_back({.name = nameOf(folder + name),
                       .maker = readName(folder + name + "/manufacturer"),
                       .speed = speedLabel(readLine(folder + name + "/speed")),
                       .kind = kindOf(folder, name, names),
                       .storage = isStorage,
                       .volume = isStorage ? std::optional(carried->volume.name) : std::nullopt});
  }
  return devices;
}

}  // namespace orvik
