// Own code: core/sampling/linux/(CoreTypes|EDID|KernelText|MachineNames|MountTable|RouteTable)
#include <algorithm>
#include <cstdlib>
#include <functional>

#include "core/sampling/linux/CoreTypes.h"
#include "core/sampling/linux/EDID.h"
#include "core/sampling/linux/KernelText.h"
#include "core/sampling/linux/MachineNames.h"
#include "core/sampling/linux/MountTable.h"
#include "core/sampling/linux/RouteTable.h"
#include "core/values/Text.h"

namespace {

using namespace orvik;

void require(bool holds) {
  if (!holds) {
    std::abort();
  }
}

void readKernelText(std::string_view text) {
  (void)KernelText::processorTimes(text);
  const auto process = KernelText::processTimes(text);
  require(!process || process->name.size() <= text.size());
  const auto memory = KernelText::memory(text);
  require(!memory || (memory->used >= 0 && memory->used <= memory->total));
  require(KernelText::averageMHz(text).value_or(1) > 0);
  const std::vector<int> cpus = parseCPUList(text);
  require(cpus.size() <= 8192 &&
          std::ranges::adjacent_find(cpus, std::greater_equal<>()) == cpus.end());
}

}  // namespace

/// What displays and the kernel's tables say may be shown and is within its bounds, whatever it is.
/// The first byte chooses the reader.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0) {
    return 0;
  }
  const ByteView bytes(data + 1, size - 1);
  const std::string_view text = textOf(bytes);
  switch (data[0]) {
    case 'd':
      if (const auto edid = parseEDID(bytes)) {
        require(isValidUTF8(edid->name.value_or("") + edid->product));
        require(!edid->preferred || edid->preferred->refreshHz >= 0);
      }
      break;
    case 'k':
      readKernelText(text);
      break;
    case 'm': {
      const auto mounts = parseMountInfo(text);
      const auto isFile = [](const std::string& mountPoint) { return mountPoint.size() % 2 == 1; };
      require(browsableMounts(mounts, isFile).size() <= mounts.size());
      break;
    }
    case 'r':
      for (const auto& route : {defaultIPv4Route(text), defaultIPv6Route(text)}) {
        require(!route || !route->interface.empty());
      }
      break;
    default:
      for (const auto& chip : {chipOfProcessorTable(text), chipOfDeviceTree(text)}) {
        require(isValidUTF8(chip.value_or("")));
      }
  }
  return 0;
}
