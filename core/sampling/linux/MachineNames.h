#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace orvik {

/// What a machine's firmware calls it, as it stands there; empty where it says nothing.
struct FirmwareNames {
  std::string systemVendor;
  std::string productName;
  std::string productVersion;
  std::string boardVendor;
  std::string boardName;
};

/// The name by which a person knows the machine, such as "Dell XPS 13 9310": the maker and the
/// product, or the main board where the maker of the machine left its fields as the board's maker
/// had filled them. Nothing when there is no name.
[[nodiscard]] std::optional<std::string> productName(const FirmwareNames& names);

/// The maker's own name of the model; nothing when there is none.
[[nodiscard]] std::optional<std::string> modelIdentifier(const FirmwareNames& names);

/// What a person calls the processor, from its own full name: "Intel Core i7-8550U" for
/// "Intel(R) Core(TM) i7-8550U CPU @ 1.80GHz".
[[nodiscard]] std::string plainProcessorName(std::string_view fullName);

/// The chip's name in the text of /proc/cpuinfo; nothing where the kernel names none.
[[nodiscard]] std::optional<std::string> chipOfProcessorTable(std::string_view cpuinfo);

/// The chip's name from the "compatible" entry of the device tree, whose last text names what the
/// board is built around: "Broadcom BCM2711" for "raspberrypi,4-model-b", "brcm,bcm2711".
[[nodiscard]] std::optional<std::string> chipOfDeviceTree(std::string_view compatible);

}  // namespace orvik
