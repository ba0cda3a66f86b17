#include "core/sampling/mac/SamplerParsing.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <utility>

#include "core/sampling/mac/RegularExpression.h"
#include "core/values/JSONMembers.h"
#include "core/values/NumberText.h"
#include "core/values/PropertyList.h"
#include "core/values/Text.h"
#include "core/values/UntypedValue.h"

namespace orvik::SamplerParsing {

namespace {

bool contains(std::string_view text, std::string_view part) {
  return text.find(part) != std::string_view::npos;
}

/// Patterns find the digits of every script, and as many as there are: only a number that fits
/// counts.
std::optional<std::int64_t> firstInteger(std::string_view text, std::string_view pattern) {
  const auto digits = firstGroup(text, pattern);
  return digits ? parseInteger<std::int64_t>(*digits) : std::nullopt;
}

std::optional<std::string> trimmedGroup(std::string_view text, std::string_view pattern,
                                        RegexOptions options = RegexOptions::none) {
  const auto group = firstGroup(text, pattern, options);
  return group ? std::optional<std::string>(trimmed(*group)) : std::nullopt;
}

std::string_view batteryState(std::string_view shown) {
  constexpr std::array<std::string_view, 4> states{"discharging", "charging", "finishing",
                                                   "charged"};
  const std::string text = lowercased(shown);
  const auto* const state = std::ranges::find_if(
      states, [&text](std::string_view word) { return text.starts_with(word); });
  return state == states.end() ? "paused" : *state;
}

std::optional<std::int64_t> remainingMinutes(std::string_view text) {
  constexpr std::int64_t minutesInHour = 60;
  const auto match = firstMatch(text, R"((\d+):(\d+) remaining)");
  const auto hours = match ? parseInteger<std::int64_t>((*match)[1]) : std::nullopt;
  const auto minutes = match ? parseInteger<std::int64_t>((*match)[2]) : std::nullopt;
  constexpr auto most = std::numeric_limits<std::int64_t>::max();
  if (!hours || !minutes || *hours > (most - *minutes) / minutesInHour) {
    return std::nullopt;
  }
  return *hours * minutesInHour + *minutes;
}

/// A number of the registry at the level of the battery itself: the same key inside of another
/// value is written without the blanks.
std::optional<std::int64_t> registryNumber(std::string_view text, std::string_view key) {
  return firstInteger(text, "\"" + std::string(key) + R"(" = (\d+))");
}

/// A time of the registry in minutes, where 0 and the largest 16-bit number stand for no estimate.
std::optional<std::int64_t> registryMinutes(std::string_view text, std::string_view key) {
  constexpr std::int64_t noEstimate = 65535;
  const auto minutes = registryNumber(text, key);
  return minutes && *minutes != 0 && *minutes < noEstimate ? minutes : std::nullopt;
}

/// Takes the first line off the text, without its end.
std::string_view takeLine(std::string_view& text) {
  const std::size_t end = std::min(text.find('\n'), text.size());
  const std::string_view line = text.substr(0, end);
  text.remove_prefix(std::min(end + 1, text.size()));
  return line;
}

/// Per cent and name; nothing for the header and whatever else the tool says.
std::optional<JSONValue::Array> process(std::string_view line) {
  constexpr std::int32_t longestName = 34;
  const std::size_t fieldEnd = std::min(line.find_first_of(" \t\r\v\f"), line.size());
  std::string field(line.substr(0, fieldEnd));
  std::ranges::replace(field, ',', '.');
  const auto percent = parseDouble(field);
  if (!percent || !std::isfinite(*percent)) {
    return std::nullopt;
  }
  const std::string name =
      repairedUTF8(firstCharacters(trimmed(line.substr(fieldEnd)), longestName));
  return JSONValue::Array{*percent, name};
}

/// The latest of the dates in a list; whatever else is in it is passed over.
std::optional<double> latestDate(const UntypedValue::List& list) {
  std::optional<double> latest;
  for (const UntypedValue& element : list) {
    if (const auto* date = element.get<UntypedValue::Date>()) {
      latest = std::max(latest.value_or(date->secondsSince1970), date->secondsSince1970);
    }
  }
  return latest;
}

}  // namespace

JSONObject pmsetBattery(std::string_view text) {
  const auto match = firstMatch(text, R"((\d+)%;\s*([^;\n]+)(?:;\s*([^\n]*))?)");
  return {{"battery_pct", orNull(match ? parseInteger<std::int64_t>((*match)[1]) : std::nullopt)},
          {"battery_state", batteryState(match ? trimmed((*match)[2]) : "")},
          {"battery_min", orNull(match ? remainingMinutes((*match)[3]) : std::nullopt)},
          {"on_ac", contains(text, "AC Power")}};
}

JSONObject batteryExtras(std::string_view text) {
  auto minutes = registryMinutes(text, "AvgTimeToEmpty");
  if (!minutes) {
    minutes = registryMinutes(text, "TimeRemaining");
  }
  return {{"battery_est_min", orNull(minutes)},
          {"battery_cycles", orNull(registryNumber(text, "CycleCount"))},
          {"battery_design_cycles", orNull(registryNumber(text, "DesignCycleCount9C"))}};
}

JSONObject powerProfile(std::string_view text) {
  return {
      {"battery_max_capacity_pct", orNull(firstInteger(text, R"(Maximum Capacity:\s*(\d+)\s*%)"))},
      {"battery_condition", orNull(trimmedGroup(text, R"(Condition:\s*([^\n]+))"))}};
}

JSONValue processes(std::string_view text) {
  constexpr int lines = 12;
  JSONValue::Array rows;
  for (int line = 0; line < lines; ++line) {
    if (auto row = process(trimmed(takeLine(text)))) {
      rows.emplace_back(std::move(*row));
    }
  }
  return rows;
}

std::optional<std::int64_t> lastBackup(std::string_view prefs) {
  const UntypedValue document = readPropertyList(prefs);
  std::optional<double> latest;
  if (const auto* destinations = document.get<UntypedValue::List>("Destinations")) {
    for (const UntypedValue& destination : *destinations) {
      const auto* dates = destination.get<UntypedValue::List>("SnapshotDates");
      const auto date = dates == nullptr ? std::nullopt : latestDate(*dates);
      latest = std::max(latest, date);
    }
  }
  return latest ? wholeNumber(std::floor(*latest)) : std::nullopt;
}

JSONObject timeMachine(std::int64_t lastBackup, std::string_view status,
                       std::string_view destinationInfo) {
  return {{"tm_last_backup", lastBackup},
          {"tm_running", contains(status, "Running = 1")},
          {"tm_disk_connected", contains(destinationInfo, "Mount Point")},
          {"tm_disk_name", orNull(trimmedGroup(destinationInfo, R"(^Name\s*:\s*(.+)$)",
                                               RegexOptions::anchorsMatchLines))}};
}

std::optional<std::string> gateway(std::string_view route) {
  return firstGroup(route, R"(gateway:\s*(\S+))");
}

std::optional<std::string> interfaceName(std::string_view route) {
  return firstGroup(route, R"(interface:\s*(\S+))");
}

std::optional<std::string> linkName(std::string_view serviceOrder, std::string_view interfaceName) {
  auto name = firstGroup(serviceOrder, R"(\(\d+\)\s*([^\n]+)\n\(Hardware Port: [^,]+, Device: )" +
                                           escapedForPattern(interfaceName) + R"(\))");
  if (name && name->ends_with('\r')) {
    name->pop_back();
  }
  return name;
}

std::optional<std::string> routerName(std::string_view text) {
  std::string_view name;
  for (text = trimmed(text); !text.empty() && name.empty();) {
    const std::string_view line = trimmed(takeLine(text));
    // The tool writes its remarks, "connection timed out" among them, where it writes answers.
    name = line.starts_with(';') ? "" : line;
  }
  const std::size_t last = name.find_last_not_of('.');
  return last == std::string_view::npos ? std::nullopt
                                        : std::optional(repairedUTF8(name.substr(0, last + 1)));
}

}  // namespace orvik::SamplerParsing
