#include "core/sampling/mac/MacmonParsing.h"

#include <algorithm>
#include <cmath>
#include <initializer_list>

#include "core/values/NumberText.h"

namespace orvik::SamplerParsing {

namespace {

using Map = UntypedValue::Map;
using Names = std::initializer_list<std::string_view>;

constexpr double perGiB = 0x1p-30;
/// In °C. A graphics unit that is switched off reports about nothing.
constexpr double coldestGPU = 10.0;

/// A finite number as the number it is; nothing for everything else, booleans included.
std::optional<JSONValue> numberIn(const UntypedValue& value) {
  if (const auto* integer = value.get<std::int64_t>()) {
    return JSONValue(*integer);
  }
  const auto* floating = value.get<double>();
  return floating != nullptr && std::isfinite(*floating) ? std::optional<JSONValue>(*floating)
                                                         : std::nullopt;
}

double asDouble(const JSONValue& number) {
  const auto* integer = number.get<std::int64_t>();
  return integer != nullptr ? static_cast<double>(*integer) : *number.get<double>();
}

/// The member of the first of these names that has a number: the tool's versions call the same
/// thing differently, and some say it under several names.
std::optional<JSONValue> firstNumber(const Map& object, Names names) {
  for (const std::string_view name : names) {
    const auto member = object.find(name);
    if (member == object.end()) {
      continue;
    }
    if (auto number = numberIn(member->second)) {
      return number;
    }
  }
  return std::nullopt;
}

double amount(const Map& object, Names names) {
  return asDouble(firstNumber(object, names).value_or(0));
}

const Map& objectNamed(const Map& line, std::string_view name) {
  static const Map empty;
  const auto member = line.find(name);
  const auto* object = member == line.end() ? nullptr : member->second.get<Map>();
  return object == nullptr ? empty : *object;
}

/// An element of a pair of frequency and use, or what newer versions say in a member of its own.
JSONValue elementOf(const Map& line, std::string_view pair, std::size_t index, Names ownNames) {
  const auto member = line.find(pair);
  const auto* list = member == line.end() ? nullptr : member->second.get<UntypedValue::List>();
  const auto number =
      list != nullptr && list->size() >= 2 ? numberIn((*list)[index]) : firstNumber(line, ownNames);
  return number.value_or(0);
}

void setPower(JSONObject& keys, const Map& line, PowerGuard& guard) {
  const auto guarded = [&](std::string_view kind, std::string_view name) {
    return pyRound(guard.clean(kind, amount(line, {name})), 2);
  };
  keys.set("power_w", guarded("all", "all_power"));
  keys.set("cpu_power_w", guarded("cpu", "cpu_power"));
  keys.set("gpu_power_w", guarded("gpu", "gpu_power"));
  keys.set("sys_power_w", guarded("sys", "sys_power"));
}

void setMemory(JSONObject& keys, const Map& memory) {
  const double total = amount(memory, {"ram_total"});
  const double used = amount(memory, {"ram_usage"});
  keys.set("ram_pct", pyRound(100.0 * used / std::max(total, 1.0), 1));
  keys.set("ram_used_gb", pyRound(used * perGiB, 1));
  keys.set("ram_total_gb", pyRound(total * perGiB, 1));
  keys.set("swap_gb", pyRound(amount(memory, {"swap_usage"}) * perGiB, 2));
}

}  // namespace

JSONObject macmon(const Map& line, PowerGuard& guard) {
  const Map& temperatures = objectNamed(line, "temp");
  const double gpuTemperature = amount(temperatures, {"gpu_temp_avg"});
  JSONObject keys{
      {"cpu_pct",
       pyRound(amount(line, {"cpu_usage_pct", "cpu_usage_ratio", "cpu_scaled_ratio"}) * 100.0, 1)},
      {"temp_cpu", pyRound(amount(temperatures, {"cpu_temp_avg"}), 1)},
      {"temp_gpu", pyRound(gpuTemperature, 1)},
      {"gpu_off", gpuTemperature < coldestGPU},
      {"ecpu_mhz", elementOf(line, "ecpu_usage", 0, {"ecpu_freq_mhz"})},
      {"pcpu_mhz", elementOf(line, "pcpu_usage", 0, {"pcpu_freq_mhz"})},
      {"gpu_pct",
       pyRound(asDouble(elementOf(line, "gpu_usage", 1, {"gpu_usage_ratio", "gpu_scaled_ratio"})) *
                   100.0,
               1)}};
  setPower(keys, line, guard);
  setMemory(keys, objectNamed(line, "memory"));
  return keys;
}

}  // namespace orvik::SamplerParsing
