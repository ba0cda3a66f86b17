#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace orvik {

/// What a person calls the processor, from its own full name: "Intel Core i7-8550U" for
/// "Intel(R) Core(TM) i7-8550U CPU @ 1.80GHz".
[[nodiscard]] std::string plainProcessorName(std::string_view fullName);

/// The chip's name in the text of /proc/cpuinfo; nothing where the kernel names none.
[[nodiscard]] std::optional<std::string> chipOfProcessorTable(std::string_view cpuinfo);

/// The chip's name from the "compatible" entry of the device tree, whose last text names what the
/// board is built around: "Broadcom BCM2711" for "raspberrypi,4-model-b", "brcm,bcm2711".
[[nodiscard]] std::optional<std::string> chipOfDeviceTree(std::string_view compatible);

}  // namespace orvik
