#include "core/sampling/mac/MacInfoParsing.h"

#include <algorithm>
#include <charconv>
#include <limits>
#include <system_error>

#include "core/values/JSONReader.h"
#include "core/values/NumberText.h"
#include "core/values/Text.h"
#include "core/values/UntypedValue.h"

namespace orvik::MacInfoParsing {

namespace {

std::optional<std::int64_t> wholeFrequency(const UntypedValue& value) {
  if (const auto* number = value.get<double>()) {
    return wholeNumber(*number);
  }
  const auto* integer = value.get<std::int64_t>();
  return integer == nullptr ? std::nullopt : std::optional(*integer);
}

/// The largest frequency under this key that is at least 1 MHz.
std::optional<std::int64_t> top(const UntypedValue& chip, std::string_view key) {
  const auto* list = chip.get<UntypedValue::List>(key);
  std::optional<std::int64_t> top;
  for (std::size_t i = 0; list != nullptr && i < list->size(); ++i) {
    if (const auto frequency = wholeFrequency((*list)[i]); frequency && *frequency >= 1) {
      top = std::max(top, frequency);
    }
  }
  return top;
}

/// Up to the largest number: whatever the system counts, it is nothing to fail at.
void add(std::int64_t count, std::int64_t& sum) {
  using Limits = std::numeric_limits<std::int64_t>;
  if (__builtin_add_overflow(sum, count, &sum)) {
    sum = count > 0 ? Limits::max() : Limits::min();
  }
}

}  // namespace

Frequencies maxMHz(std::string_view macmonLine) {
  const UntypedValue line = readJSONOrNull(macmonLine);
  const UntypedValue* chip = line.find("soc");
  return chip == nullptr ? Frequencies{}
                         : Frequencies{top(*chip, "pcpu_freqs"), top(*chip, "ecpu_freqs")};
}

std::optional<std::string> deviceTreeString(std::string_view bytes) {
  const std::string text = repairedUTF8(bytes.substr(0, bytes.find('\0')));
  const std::string_view content = trimmed(text);
  return content.empty() ? std::nullopt : std::optional<std::string>(content);
}

Cores cores(const std::vector<PerformanceLevel>& levels) {
  Cores cores;
  for (std::size_t i = 0; i < levels.size(); ++i) {
    const std::string name = lowercased(levels[i].name);
    const auto isNamed = [&name](std::string_view kind) {
      return name.find(kind) != std::string::npos;
    };
    // Systems before macOS 13 do not name the levels; some chips have no level of this name.
    if (isNamed("efficiency") || (i == 1 && name.empty())) {
      add(levels[i].physicalCPUs, cores.efficiency);
    } else if (i == 0 || isNamed("performance")) {
      add(levels[i].physicalCPUs, cores.performance);
    }
  }
  return cores;
}

std::optional<std::array<std::int64_t, 3>> versionParts(std::string_view text) {
  std::array<std::int64_t, 3> parts{};
  const char* position = text.data();
  const char* const end = position + text.size();
  for (std::int64_t& part : parts) {
    const auto parsed = std::from_chars(position, end, part);
    if (parsed.ec != std::errc{} || part < 0) {
      return std::nullopt;
    }
    position = parsed.ptr;
    if (position == end) {
      return parts;
    }
    if (*position++ != '.') {
      return std::nullopt;
    }
  }
  return std::nullopt;
}

std::string version(std::int64_t major, std::int64_t minor, std::int64_t patch) {
  const std::string text = std::to_string(major) + "." + std::to_string(minor);
  return patch == 0 ? text : text + "." + std::to_string(patch);
}

}  // namespace orvik::MacInfoParsing
