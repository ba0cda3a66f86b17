#pragma once

#include <cstdint>
#include <optional>
#include <string_view>
#include <vector>

namespace orvik {

/// What stands between single separators, empty pieces included; views of the text.
[[nodiscard]] std::vector<std::string_view> splitAt(std::string_view text, char separator);

/// The fields of a line, however many blanks stand between them; views of the line.
[[nodiscard]] std::vector<std::string_view> fieldsOf(std::string_view line);

/// The kernel's tables of proc, as text to values. Pure functions that take any text; what is not
/// of the documented form gives nothing.
namespace KernelText {

/// The first line of /proc/stat: what all CPUs have spent their time with since the start, in
/// ticks. The time of guests is part of `user` and `nice`, and not counted again.
struct ProcessorTimes {
  std::uint64_t user = 0;
  std::uint64_t nice = 0;
  std::uint64_t system = 0;
  std::uint64_t idle = 0;
  std::uint64_t waiting = 0;
  std::uint64_t interrupts = 0;
  std::uint64_t softInterrupts = 0;
  /// Taken by the machine that this one is a guest of.
  std::uint64_t stolen = 0;
  bool operator==(const ProcessorTimes&) const = default;
};
[[nodiscard]] std::optional<ProcessorTimes> processorTimes(std::string_view stat);

/// /proc/PID/stat.
struct ProcessTimes {
  /// As the program has it, in any encoding: at most 15 bytes but for the kernel's own threads.
  std::string_view name;
  /// In ticks: the processor time of all its threads, and when it was started after the machine.
  std::uint64_t used = 0;
  std::uint64_t startedAt = 0;
  bool operator==(const ProcessTimes&) const = default;
};
[[nodiscard]] std::optional<ProcessTimes> processTimes(std::string_view stat);

/// /proc/meminfo, in bytes.
struct Memory {
  double total = 0;
  /// Neither free nor given back by the kernel when it is needed.
  double used = 0;
  double swapUsed = 0;
  bool operator==(const Memory&) const = default;
};
[[nodiscard]] std::optional<Memory> memory(std::string_view meminfo);

/// The mean of the frequencies in /proc/cpuinfo, in MHz; not every kind of processor has them.
[[nodiscard]] std::optional<double> averageMHz(std::string_view cpuinfo);

}  // namespace KernelText

}  // namespace orvik
