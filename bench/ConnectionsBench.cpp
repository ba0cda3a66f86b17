// Reading a registry dump of 5 MB, some hundred times what a usual desk gives.

#include <benchmark/benchmark.h>
#include <sys/resource.h>

#include "core/sampling/mac/BluetoothParsing.h"
#include "core/sampling/mac/DisplayParsing.h"
#include "core/sampling/mac/ProfilerDocument.h"
#include "core/sampling/mac/USBParsing.h"
#include "core/sampling/mac/VolumeParsing.h"

namespace orvik::bench {
namespace {

constexpr std::size_t dumpSize = 5'000'000;

/// The highest resident size of the process so far, in bytes.
double peakMemory() {
  rusage usage{};
  getrusage(RUSAGE_SELF, &usage);
#ifdef __APPLE__
  constexpr double unit = 1;
#else
  constexpr double unit = 1024;
#endif
  return static_cast<double>(usage.ru_maxrss) * unit;
}

/// An entry with as many properties as the registry has for a device or an interface.
std::string entry(const std::string& type, int location, const std::string& below) {
  std::string text = "<dict><key>IOObjectClass</key><string>" + type + "</string>";
  for (int i = 0; i < 30; ++i) {
    text += "<key>kUSBProperty" + std::to_string(i) + "</key><integer>" + std::to_string(i * 4711) +
            "</integer>\n";
  }
  return text + "<key>IORegistryEntryName</key><string>USB Device</string>" +
         "<key>USB Vendor Name</key><string>Example Peripherals</string>" +
         "<key>bDeviceClass</key><integer>0</integer><key>bInterfaceClass</key>" +
         "<integer>3</integer><key>Device Speed</key><integer>2</integer>" +
         "<key>locationID</key><integer>" + std::to_string(location) + "</integer>" +
         "<key>IORegistryEntryChildren</key><array>" + below + "</array></dict>\n";
}

std::string dump() {
  std::string text = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<plist version=\"1.0\"><array>\n";
  for (int location = 0; text.size() < dumpSize; ++location) {
    const std::string interfaces =
        entry("IOUSBHostInterface", 0, "") + entry("IOUSBHostInterface", 1, "");
    text += entry("IOUSBHostDevice", location, interfaces);
  }
  return text + "</array></plist>\n";
}

void usbDump(benchmark::State& state) {
  static const std::string text = dump();
  static const double before = peakMemory();
  std::size_t devices = 0;
  for (auto _ : state) {
    devices = ConnectionsParsing::usbDevices(text).size();
  }
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations()) *
                          static_cast<std::int64_t>(text.size()));
  state.counters["devices"] = static_cast<double>(devices);
  state.counters["addedPeakMB"] = (peakMemory() - before) / 1e6;
}
BENCHMARK(usbDump)->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace orvik::bench
