#include "core/alerts/MinuteHistory.h"

#include <algorithm>
#include <cmath>

#include "core/values/JSONMembers.h"
#include "core/values/NumberText.h"

namespace orvik {

namespace {

JSONValue rounded(const std::optional<double>& value, int places) {
  return value ? JSONValue(pyRound(*value, places)) : JSONValue(nullptr);
}

}  // namespace

void MinuteHistory::Bucket::add(const Quantities& values) {
  for (std::size_t i = 0; i < quantityCount; ++i) {
    if (values[i] && std::isfinite(*values[i])) {
      sums[i] += *values[i];
      ++counts[i];
    }
  }
}

MinuteHistory::Point MinuteHistory::Bucket::point() const {
  const auto mean = [this](std::size_t i) -> std::optional<double> {
    return counts[i] > 0 ? std::optional(sums[i] / static_cast<double>(counts[i])) : std::nullopt;
  };
  return {minute, mean(0), mean(1), mean(2)};
}

void MinuteHistory::add(const JSONObject& sample) {
  const auto epoch = member<std::int64_t>(sample, "epoch");
  if (!epoch || *epoch < 1) {
    return;
  }
  const Quantities values = {numberMember(sample, "cpu_pct"), numberMember(sample, "temp_cpu"),
                             numberMember(sample, "power_w")};
  if (std::ranges::none_of(values, [](const auto& value) { return value.has_value(); })) {
    return;
  }
  const std::int64_t minute = *epoch / 60;
  if (!open || open->minute < minute) {
    if (open) {
      closed.push_back(open->point());
    }
    open = Bucket{minute, {}, {}};
    trim(minute);
  }
  open->add(values);
}

void MinuteHistory::trim(std::int64_t nowMinute) {
  while (!closed.empty() && closed.front().minute <= nowMinute - span) {
    closed.pop_front();
  }
}

void MinuteHistory::forgetAfter(std::int64_t nowEpoch) {
  const std::int64_t nowMinute = nowEpoch / 60;
  if (open && open->minute > nowMinute) {
    open.reset();
  }
  // Also the present one: it is open or about to be.
  while (!closed.empty() && closed.back().minute >= nowMinute) {
    closed.pop_back();
  }
}

std::vector<MinuteHistory::Point> MinuteHistory::points(std::int64_t nowEpoch) const {
  const std::int64_t nowMinute = nowEpoch / 60;
  std::vector<Point> reported;
  reported.reserve(closed.size() + 1);
  const auto reportIfComplete = [&](const Point& point) {
    if (point.minute >= nowMinute - (span - 1) && point.minute < nowMinute) {
      reported.push_back(point);
    }
  };
  std::ranges::for_each(closed, reportIfComplete);
  if (open) {
    reportIfComplete(open->point());
  }
  return reported;
}

std::optional<JSONValue> MinuteHistory::json(std::int64_t nowEpoch) const {
  const std::vector<Point> reported = points(nowEpoch);
  if (reported.empty()) {
    return std::nullopt;
  }
  JSONValue::Array distances;
  JSONValue::Array cpu;
  JSONValue::Array temp;
  JSONValue::Array watts;
  for (auto* array : {&distances, &cpu, &temp, &watts}) {
    array->reserve(reported.size());
  }
  std::int64_t previous = reported.front().minute;
  for (const Point& point : reported) {
    distances.emplace_back(point.minute - previous);
    previous = point.minute;
    cpu.push_back(rounded(point.cpu, 1));
    temp.push_back(rounded(point.temp, 1));
    watts.push_back(rounded(point.watts, 2));
  }
  JSONObject object;
  object.set("cpu", std::move(cpu));
  object.set("dm", std::move(distances));
  object.set("t0", reported.front().minute * 60);
  object.set("temp", std::move(temp));
  object.set("w", std::move(watts));
  return object;
}

}  // namespace orvik
