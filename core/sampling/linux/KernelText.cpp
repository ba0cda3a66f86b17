#include "core/sampling/linux/KernelText.h"

#include <algorithm>
#include <array>

#include "core/values/NumberText.h"

namespace orvik {

namespace {

constexpr std::string_view whiteSpace = " \t\r\n\v\f";

}  // namespace

std::vector<std::string_view> splitAt(std::string_view text, char separator) {
  std::vector<std::string_view> parts;
  for (std::size_t start = 0; start <= text.size();) {
    const std::size_t end = std::min(text.find(separator, start), text.size());
    parts.push_back(text.substr(start, end - start));
    start = end + 1;
  }
  return parts;
}

std::vector<std::string_view> fieldsOf(std::string_view line) {
  std::vector<std::string_view> fields;
  for (std::size_t start = line.find_first_not_of(whiteSpace); start != std::string_view::npos;) {
    const std::size_t end = std::min(line.find_first_of(whiteSpace, start), line.size());
    fields.push_back(line.substr(start, end - start));
    start = line.find_first_not_of(whiteSpace, end);
  }
  return fields;
}

namespace KernelText {

namespace {

/// What is left to read of a line.
struct Fields {
  std::string_view text;

  std::optional<std::string_view> next() {
    text.remove_prefix(std::min(text.find_first_not_of(" \t"), text.size()));
    const std::string_view field = text.substr(0, text.find_first_of(" \t\n"));
    text.remove_prefix(field.size());
    return field.empty() ? std::nullopt : std::optional(field);
  }

  /// The next field wholly a number.
  std::optional<std::uint64_t> nextNumber() {
    return parseInteger<std::uint64_t>(next().value_or(""));
  }
};

/// Calls `take` with each whole line; what a full buffer has cut off is no line.
template <typename Take>
void forEachLine(std::string_view text, Take take) {
  for (std::size_t end = text.find('\n'); end != std::string_view::npos; end = text.find('\n')) {
    take(text.substr(0, end));
    text.remove_prefix(end + 1);
  }
}

}  // namespace

std::optional<ProcessorTimes> processorTimes(std::string_view stat) {
  if (!stat.starts_with("cpu ")) {
    return std::nullopt;
  }
  Fields fields{stat.substr(4, stat.find('\n') - 4)};
  ProcessorTimes times;
  // The first four have always been there.
  for (std::uint64_t* const field : {&times.user, &times.nice, &times.system, &times.idle}) {
    const auto number = fields.nextNumber();
    if (!number) {
      return std::nullopt;
    }
    *field = *number;
  }
  for (std::uint64_t* const field :
       {&times.waiting, &times.interrupts, &times.softInterrupts, &times.stolen}) {
    *field = fields.nextNumber().value_or(0);
  }
  return times;
}

std::optional<ProcessTimes> processTimes(std::string_view stat) {
  // A name may hold anything, parentheses too; what follows the last one is numbers.
  const std::size_t open = stat.find('(');
  const std::size_t close = stat.rfind(')');
  if (open == std::string_view::npos || close == std::string_view::npos || close < open) {
    return std::nullopt;
  }
  ProcessTimes times;
  times.name = stat.substr(open + 1, close - open - 1);
  Fields fields{stat.substr(close + 1)};
  // Fields are numbered as in proc(5): the name is the second.
  constexpr int user = 14;
  constexpr int system = 15;
  constexpr int start = 22;
  for (int field = 3; field <= start; ++field) {
    if (field == user || field == system || field == start) {
      const auto number = fields.nextNumber();
      if (!number) {
        return std::nullopt;
      }
      (field == start ? times.startedAt : times.used) += *number;
    } else if (!fields.next()) {
      return std::nullopt;
    }
  }
  return times;
}

std::optional<Memory> memory(std::string_view meminfo) {
  struct Row {
    std::string_view name;
    std::optional<std::uint64_t> kibibytes = std::nullopt;
  };
  enum { total, free, available, buffers, cached, swapTotal, swapFree, shared, reclaimable };
  std::array<Row, 9> rows{{{"MemTotal:"},
                           {"MemFree:"},
                           {"MemAvailable:"},
                           {"Buffers:"},
                           {"Cached:"},
                           {"SwapTotal:"},
                           {"SwapFree:"},
                           {"Shmem:"},
                           {"SReclaimable:"}}};
  forEachLine(meminfo, [&](std::string_view line) {
    for (Row& row : rows) {
      if (line.starts_with(row.name)) {
        row.kibibytes = Fields{line.substr(row.name.size())}.nextNumber();
      }
    }
  });
  const auto bytes = [&](std::size_t row) {
    return static_cast<double>(rows[row].kibibytes.value_or(0)) * 1024;
  };
  if (bytes(total) <= 0 || (!rows[available].kibibytes && !rows[free].kibibytes)) {
    return std::nullopt;
  }
  // Kernels before 3.14 do not say what is available: what is free, and the caches but for the
  // part of them that is shared memory.
  const double left = rows[available].kibibytes ? bytes(available)
                                                : bytes(free) + bytes(buffers) + bytes(cached) +
                                                      bytes(reclaimable) - bytes(shared);
  return Memory{.total = bytes(total),
                .used = std::clamp(bytes(total) - left, 0.0, bytes(total)),
                .swapUsed = std::max(0.0, bytes(swapTotal) - bytes(swapFree))};
}

std::optional<double> averageMHz(std::string_view cpuinfo) {
  double sum = 0;
  int count = 0;
  forEachLine(cpuinfo, [&](std::string_view line) {
    if (line.starts_with("cpu MHz")) {
      Fields fields{line.substr(std::min(line.find(':'), line.size() - 1) + 1)};
      const auto value = parseDouble(fields.next().value_or(""));
      constexpr double fastest = 100'000;
      if (value && *value > 0 && *value < fastest) {
        sum += *value;
        ++count;
      }
    }
  });
  return count > 0 ? std::optional(sum / count) : std::nullopt;
}

}  // namespace KernelText

}  // namespace orvik
