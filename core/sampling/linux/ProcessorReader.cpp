#include "core/sampling/linux/ProcessorReader.h"

#include <array>
#include <utility>

#include "core/sampling/linux/KernelText.h"
#include "core/values/NumberText.h"

namespace orvik {

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
