#include "core/sampling/linux/MachineInfoReader.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <set>
#include <string_view>
#include <vector>

#include "core/sampling/linux/CoreTypes.h"
#include "core/sampling/linux/KernelText.h"
#include "core/sampling/linux/MachineNames.h"
#include "core/system/linux/TextFile.h"
#include "core/values/Base64.h"
#include "core/values/JSONMembers.h"
#include "core/values/Text.h"

namespace orvik {

namespace {

/// packaging/icons/computer.png.
constexpr auto computerIcon = std::to_array<std::uint8_t>({
#include "core/ComputerIcon.inc"
});

void setText(JSONObject& info, std::string_view key, const std::optional<std::string>& text) {
  if (text) {
    info.set(key, repairedUTF8(*text));
  }
}

std::string fileOfCPU(const std::string& folder, int cpu, const char* file) {
  return folder + "/cpu" + std::to_string(cpu) + file;
}

/// How many cores these CPUs are: the threads of one core name the same siblings.
std::int64_t coreCount(const std::string& folder, const std::vector<int>& cpus) {
  std::set<std::string> cores;
  for (const int cpu : cpus) {
    const std::string siblings = readLine(fileOfCPU(folder, cpu, "/topology/thread_siblings_list"));
    cores.insert(siblings.empty() ? std::to_string(cpu) : siblings);
  }
  return static_cast<std::int64_t>(cores.size());
}

/// The highest frequency that any of these CPUs reaches, in MHz.
std::optional<std::int64_t> topMHz(const std::string& folder, const std::vector<int>& cpus) {
  std::int64_t top = 0;
  for (const int cpu : cpus) {
    TextFile file(fileOfCPU(folder, cpu, "/cpufreq/cpuinfo_max_freq"));
    top = std::max(top, file.readInteger().value_or(0));
  }
  return top >= 1000 ? std::optional(top / 1000) : std::nullopt;
}

}  // namespace

std::int64_t builtInMemory(std::int64_t available) {
  const double gibibytes = static_cast<double>(available) / (std::int64_t{1} << 30U);
  const auto whole = static_cast<std::uint64_t>(std::max(gibibytes, 1.0));
  const double step = std::max(static_cast<double>(std::bit_floor(whole)) / 8, 1.0);
  return static_cast<std::int64_t>(std::ceil(gibibytes / step) * step);
}

void MachineInfoReader::addNames(JSONObject& info) const {
  const auto field = [&](const char* name) { return readLine(root + "/sys/class/dmi/id/" + name); };
  const FirmwareNames names{.systemVendor = field("sys_vendor"),
                            .productName = field("product_name"),
                            .productVersion = field("product_version"),
                            .boardVendor = field("board_vendor"),
                            .boardName = field("board_name")};
  setText(info, "product_name", productName(names));
  setText(info, "model_id", modelIdentifier(names));

  const std::string tree = root + "/proc/device-tree/";
  const std::string model = readLine(tree + "model");
  const std::string compatible = readText(tree + "compatible").value_or("");
  const auto addMissing = [&](std::string_view key, std::string_view text) {
    if (info.find(key) == nullptr && !text.empty()) {
      info.set(key, repairedUTF8(text));
    }
  };
  addMissing("product_name", trimmed(model.substr(0, model.find('\0'))));
  addMissing("model_id", trimmed(compatible.substr(0, compatible.find('\0'))));
}

void MachineInfoReader::addChip(JSONObject& info) const {
  // The first processor's entry is enough; a line of flags is a kilobyte or two.
  auto chip = chipOfProcessorTable(readText(root + "/proc/cpuinfo").value_or(""));
  if (const auto treeChip =
          chipOfDeviceTree(readText(root + "/proc/device-tree/compatible").value_or(""))) {
    chip = treeChip;
  }
  setText(info, "chip", chip);
}

void MachineInfoReader::addCores(JSONObject& info) const {
  const CoreTypes types = readCoreTypes(root);
  const std::string folder = root + "/sys/devices/system/cpu";
  if (types.performance.empty() && types.efficiency.empty()) {
    return;
  }
  info.set("p_cores", coreCount(folder, types.performance));
  info.set("e_cores", coreCount(folder, types.efficiency));
  setIfPresent(info, "p_max_mhz", topMHz(folder, types.performance));
  setIfPresent(info, "e_max_mhz", topMHz(folder, types.efficiency));
}

std::optional<std::int64_t> MachineInfoReader::memory() const {
  const auto memory = KernelText::memory(readText(root + "/proc/meminfo").value_or(""));
  constexpr double most = 1e18;
  return memory && memory->total < most
             ? std::optional(builtInMemory(static_cast<std::int64_t>(memory->total)))
             : std::nullopt;
}

std::optional<std::string> MachineInfoReader::systemName() const {
  for (const char* file : {"/etc/os-release", "/usr/lib/os-release"}) {
    for (std::string& name : assignedValues(readText(root + file).value_or(""), "PRETTY_NAME=")) {
      if (!name.empty()) {
        return std::move(name);
      }
    }
  }
  return std::nullopt;
}

JSONObject MachineInfoReader::read() const {
  JSONObject info;
  addNames(info);
  addChip(info);
  addCores(info);
  setIfPresent(info, "ram_gb", memory());
  setText(info, "macos", systemName());
  info.set("icon_png", base64(computerIcon));
  return info;
}

}  // namespace orvik
