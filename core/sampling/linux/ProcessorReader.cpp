#include "core/sampling/linux/ProcessorReader.h"

#include <array>
#include <utility>

#include "core/sampling/linux/KernelText.h"
#include "core/values/NumberText.h"

namespace orvik {

std::optional<double> ProcessorUse::update(const KernelText::ProcessorTimes& now) {
  const auto before = std::exchange(previous, now);
  if (!before) {
    return std::nullopt;
  }
  using Times = KernelText::ProcessorTimes;
  const auto spent = [&](std::uint64_t Times::*field) {
    return now.*field > (*before).*field ? static_cast<double>(now.*field - (*before).*field) : 0.0;
  };
  const double busy = spent(&Times::user) + spent(&Times::nice) + spent(&Times::system) +
                      spent(&Times::interrupts) + spent(&Times::softInterrupts) +
                      spent(&Times::stolen);
  const double counted = busy + spent(&Times::idle) + spent(&Times::waiting);
  if (counted > 0) {
    last = 100 * busy / counted;
  }
  return last;
}

namespace {

constexpr double gibibyte = 1024.0 * 1024 * 1024;

}  // namespace

ProcessorReader::ProcessorReader(const std::string& root, MonotonicTime now)
    : now(std::move(now)), statistics(root + "/proc/stat"), memory(root + "/proc/meminfo") {}

JSONObject ProcessorReader::read() {
  const Instant time = now();
  if (readAt && time - *readAt < shortestInterval(hasCompared)) {
    return last;
  }
  hasCompared = readAt.has_value();
  readAt = time;
  last = {};
  addUse(last);
  addMemory(last);
  return last;
}

void ProcessorReader::addUse(JSONObject& keys) {
  // The first line is all that is needed.
  std::array<char, 512> buffer{};
  const auto times = KernelText::processorTimes(statistics.readShort(buffer).value_or(""));
  const auto percent = times ? use.update(*times) : std::nullopt;
  if (percent) {
    keys.set("cpu_pct", pyRound(*percent, 1));
  }
}

void ProcessorReader::addMemory(JSONObject& keys) {
  std::array<char, 4096> buffer{};
  const auto bytes = KernelText::memory(memory.readShort(buffer).value_or(""));
  if (!bytes) {
    return;
  }
  keys.set("ram_pct", pyRound(100 * bytes->used / bytes->total, 1));
  keys.set("ram_used_gb", pyRound(bytes->used / gibibyte, 1));
  keys.set("ram_total_gb", pyRound(bytes->total / gibibyte, 1));
  keys.set("swap_gb", pyRound(bytes->swapUsed / gibibyte, 2));
}

}  // namespace orvik
