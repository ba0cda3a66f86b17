#include "phone/terminal/MinuteCurves.h"

#include <algorithm>

#include "phone/terminal/Readings.h"

namespace orvik {

namespace {

constexpr std::int64_t perDay = 24L * 60;
/// The end of the year 9999: what is later is no time.
constexpr std::int64_t latestEpoch = 253'402'300'799;

std::optional<std::int64_t> minuteOf(std::optional<std::int64_t> epoch) {
  return epoch && *epoch >= 1 && *epoch <= latestEpoch ? std::optional(*epoch / 60) : std::nullopt;
}

}  // namespace

void MinuteCurves::Mean::add(double value) {
  sum += value;
  ++count;
}

std::optional<double> MinuteCurves::Mean::value() const {
  return count == 0 ? std::nullopt : std::optional(sum / count);
}

const MinuteCurves::Mean& MinuteCurves::of(const Minute& minute, Curve curve) {
  return minute.at(static_cast<std::size_t>(curve));
}

void MinuteCurves::dropBefore(std::int64_t newestMinute) {
  minutes.erase(minutes.begin(), minutes.upper_bound(newestMinute - perDay));
}

void MinuteCurves::addHistory(const UntypedValue& history) {
  const Readings readings(&history);
  std::optional<std::int64_t> minute = minuteOf(readings.integer("t0"));
  if (!minute) {
    return;
  }
  const UntypedValue::List& gaps = readings.list("dm");
  const std::array<const UntypedValue::List*, 3> curves = {
      &readings.list("cpu"), &readings.list("temp"), &readings.list("w")};
  for (std::size_t i = 0; i < gaps.size(); ++i) {
    const auto* gap = gaps[i].get<std::int64_t>();
    if (gap == nullptr || *gap < 0 || *gap > perDay) {
      break;
    }
    *minute += *gap;
    Minute point;
    for (std::size_t curve = 0; curve < curves.size(); ++curve) {
      const UntypedValue::List& values = *curves.at(curve);
      const auto value = i < values.size() ? Readings::numberOf(values[i]) : std::nullopt;
      if (value) {
        point.at(curve).add(*value);
      }
    }
    minutes[*minute] = point;
  }
  if (!minutes.empty()) {
    dropBefore(minutes.rbegin()->first);
  }
}

void MinuteCurves::addSample(const UntypedValue& sample) {
  const Readings readings(&sample);
  const std::optional<std::int64_t> minute = minuteOf(readings.integer("epoch"));
  if (!minute) {
    return;
  }
  const std::array values = {readings.number("cpu_pct"), readings.number("temp_cpu"),
                             readings.number("power_w")};
  if (std::ranges::none_of(values, [](const auto& value) { return value.has_value(); })) {
    return;
  }
  minutes.erase(minutes.upper_bound(*minute), minutes.end());
  dropBefore(*minute);
  Minute& point = minutes[*minute];
  for (std::size_t curve = 0; curve < values.size(); ++curve) {
    const std::optional<double>& value = values.at(curve);
    if (value) {
      point.at(curve).add(*value);
    }
  }
}

std::chrono::minutes MinuteCurves::span() const {
  return std::chrono::minutes(
      minutes.empty() ? 0 : minutes.rbegin()->first - minutes.begin()->first + 1);
}

std::optional<std::pair<double, double>> MinuteCurves::range(Curve curve) const {
  std::optional<std::pair<double, double>> range;
  for (const auto& [number, minute] : minutes) {
    if (const auto value = of(minute, curve).value()) {
      const auto [low, high] = range.value_or(std::pair(*value, *value));
      range = {std::min(low, *value), std::max(high, *value)};
    }
  }
  return range;
}

std::vector<std::optional<double>> MinuteCurves::steps(Curve curve, std::size_t count) const {
  const auto total = static_cast<std::size_t>(span().count());
  std::vector<Mean> means(std::min(count, total));
  for (const auto& [number, minute] : minutes) {
    const auto value = of(minute, curve).value();
    if (value && !means.empty()) {
      const auto offset = static_cast<std::size_t>(number - minutes.begin()->first);
      means[offset * means.size() / total].add(*value);
    }
  }
  std::vector<std::optional<double>> steps;
  steps.reserve(means.size());
  for (const Mean& mean : means) {
    steps.push_back(mean.value());
  }
  return steps;
}

}  // namespace orvik
