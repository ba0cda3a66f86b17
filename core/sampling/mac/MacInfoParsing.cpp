#include "core/sampling/mac/MacInfoParsing.h"

#include <algorithm>

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
  const UntypedValue* member = chip.find(key);
  const auto* list = member == nullptr ? nullptr : member->get<UntypedValue::List>();
  std::optional<std::int64_t> top;
  for (std::size_t i = 0; list != nullptr && i < list->size(); ++i) {
    if (const auto frequency = wholeFrequency((*list)[i]); frequency && *frequency >= 1) {
      top = std::max(top, frequency);
    }
  }
  return top;
}

std::string lowerCased(std::string text) {
  std::ranges::transform(text, text.begin(), [](char c) {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
  });
  return text;
}

}  // namespace

Frequencies maxMHz(std::string_view macmonLine) {
  UntypedValue line;
  try {
    line = readJSON(macmonLine);
  } catch (const JSONError&) {
    return {};
  }
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
    const std::string name = lowerCased(levels[i].name);
    const auto isNamed = [&name](std::string_view kind) {
      return name.find(kind) != std::string::npos;
    };
    // Systems before macOS 13 do not name the levels; some chips have no level of this name.
    if (isNamed("efficiency") || (i == 1 && name.empty())) {
      cores.efficiency += levels[i].physicalCPUs;
    } else if (i == 0 || isNamed("performance")) {
      cores.performance += levels[i].physicalCPUs;
    }
  }
  return cores;
}

std::string version(std::int64_t major, std::int64_t minor, std::int64_t patch) {
  const std::string text = std::to_string(major) + "." + std::to_string(minor);
  return patch == 0 ? text : text + "." + std::to_string(patch);
}

}  // namespace orvik::MacInfoParsing
