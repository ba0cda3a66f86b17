#include "core/sampling/linux/GraphicsReader.h"

#include <algorithm>
#include <array>
#include <string_view>

namespace orvik {

namespace {

/// More than any card draws, less than what a counter that was set back looks like.
constexpr double mostMicrowatts = 2e9;
/// Idle milliseconds in a second, with room for when the driver has counted.
constexpr double mostIdle = 1500;

bool isGraphicsZone(const HardwareMonitor& zone) { return isThermalZone(zone.driver, {"gpu"}); }

bool isGraphics(const HardwareMonitor& monitor) {
  constexpr std::array<std::string_view, 6> drivers{"amdgpu", "radeon", "nouveau",
                                                    "nvidia", "i915",   "xe"};
  return std::ranges::find(drivers, monitor.driver) != drivers.end() || isGraphicsZone(monitor);
}

/// The graphics processors that the display system has, under the driver's counter of idle time.
/// Those of Intel's processors have no hardware monitor.
std::vector<HardwareMonitor> idleCounters(const std::string& root) {
  std::vector<HardwareMonitor> counters;
  const std::string parent = root + "/sys/class/drm";
  for (const std::string& name : namesIn(parent)) {
    if (!name.starts_with("card") || name.find('-') != std::string::npos) {
      continue;
    }
    for (const char* counter :
         {"/gt/gt0/rc6_residency_ms", "/device/tile0/gt0/gtidle/idle_residency_ms"}) {
      const std::string folder = pathIn(parent, name);
      if (isReadable(folder + counter)) {
        counters.push_back({.folder = folder, .driver = counter});
        break;
      }
    }
  }
  return counters;
}

std::optional<TextFile> firstReadable(const std::string& folder,
                                      std::initializer_list<const char*> names) {
  for (const char* name : names) {
    const std::string path = pathIn(folder, name);
    if (isReadable(path)) {
      return TextFile(path);
    }
  }
  return std::nullopt;
}

void add(std::optional<double>& sum, std::optional<double> value) {
  if (value) {
    sum = sum.value_or(0) + *value;
  }
}

bool isSuspended(TextFile& runtimeStatus) {
  std::array<char, 32> buffer{};
  return runtimeStatus.readShort(buffer).value_or("").starts_with("suspended");
}

}  // namespace

GraphicsReader::Card GraphicsReader::cardOf(const HardwareMonitor& monitor) {
  Card card{.runtimeStatus = TextFile(monitor.folder + "/device/power/runtime_status"),
            .idleRate = CounterRate(mostIdle),
            .energyRate = CounterRate(mostMicrowatts)};
  if (!isGraphics(monitor)) {
    card.idleTime = TextFile(monitor.folder + monitor.driver);
    return card;
  }
  for (TemperatureInput& input : temperatureInputs(monitor)) {
    // The others are its hottest spot and its memory.
    if (!card.temperature &&
        (input.label.empty() || input.label == "edge" || input.label == "pkg")) {
      card.temperature = std::move(input.file);
    }
  }
  if (!card.temperature) {
    card.temperature = firstReadable(monitor.folder, {"temp"});
  }
  card.busyPercent = firstReadable(monitor.folder, {"device/gpu_busy_percent"});
  card.microwatts = firstReadable(monitor.folder, {"power1_average", "power1_input"});
  card.microjoules = firstReadable(monitor.folder, {"energy1_input", "energy2_input"});
  // Only where graphics and processor are one chip there is the voltage of their memory
  // controller, and the power is that of the chip.
  card.isPartOfProcessor =
      monitor.driver == "amdgpu" && readLine(monitor.folder + "/in1_label") == "vddnb";
  return card;
}

void GraphicsReader::rescan() {
  std::vector<HardwareMonitor> present;
  std::ranges::copy_if(hardwareMonitors(root), std::back_inserter(present), isGraphics);
  if (std::ranges::none_of(present, isGraphicsZone)) {
    // Where the kernel shows zones among the hardware monitors, they would be there twice.
    std::ranges::copy_if(thermalZones(root), std::back_inserter(present), isGraphicsZone);
  }
  std::ranges::move(idleCounters(root), std::back_inserter(present));
  if (present == found) {
    return;
  }
  found = std::move(present);
  cards.clear();
  std::ranges::transform(found, std::back_inserter(cards), cardOf);
}

GraphicsReader::Reading GraphicsReader::read(const MonotonicTime& now) {
  Reading reading;
  double sumOfTemperatures = 0;
  int temperatures = 0;
  for (Card& card : cards) {
    const bool isOff = isSuspended(card.runtimeStatus);
    reading.isOff = reading.isOff.value_or(true) && isOff;
    if (card.temperature && !isOff) {
      if (const auto celsius = readCelsius(*card.temperature)) {
        sumOfTemperatures += *celsius;
        ++temperatures;
      }
    }
    if (const auto use = readUse(card, isOff, now)) {
      reading.use = std::max(*use, reading.use.value_or(0));
    }
    add(card.isPartOfProcessor ? reading.chipWatts : reading.watts, readWatts(card, isOff, now));
  }
  if (temperatures > 0) {
    reading.temperature = sumOfTemperatures / temperatures;
  }
  return reading;
}

std::optional<double> GraphicsReader::readUse(Card& card, bool isOff, const MonotonicTime& now) {
  if (isOff && (card.busyPercent || card.idleTime)) {
    return 0;
  }
  if (card.busyPercent) {
    const auto percent = card.busyPercent->readInteger();
    return percent && *percent >= 0 && *percent <= 100
               ? std::optional(static_cast<double>(*percent))
               : std::nullopt;
  }
  const auto idle = card.idleTime ? card.idleTime->readInteger() : std::nullopt;
  // Where the hardware's idle state is switched off the counter stays at 0.
  if (!idle || *idle <= 0) {
    return std::nullopt;
  }
  const auto rate = card.idleRate.update(now(), *idle, 0);
  return rate ? std::optional(std::clamp(100 - *rate / 10, 0.0, 100.0)) : std::nullopt;
}

std::optional<double> GraphicsReader::readWatts(Card& card, bool isOff, const MonotonicTime& now) {
  if (isOff) {
    const bool isKnown = (card.microwatts || card.microjoules) && !card.isPartOfProcessor;
    return isKnown ? std::optional(0.0) : std::nullopt;
  }
  std::optional<double> microwatts;
  if (card.microwatts) {
    microwatts = card.microwatts->readInteger();
  } else if (const auto energy =
                 card.microjoules ? card.microjoules->readInteger() : std::nullopt) {
    microwatts = card.energyRate.update(now(), *energy, 0);
  }
  if (!microwatts || *microwatts < 0 || *microwatts > mostMicrowatts) {
    return std::nullopt;
  }
  return *microwatts / 1e6;
}

}  // namespace orvik
