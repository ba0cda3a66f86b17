#include "relay/Metrics.h"

#include <algorithm>

namespace orvik::relay {

namespace {

constexpr std::string_view prefix = "orvik_relay_";

void appendHead(std::string& text, std::string_view name, std::string_view help,
                std::string_view type) {
  text.append("# HELP ").append(prefix).append(name).append(" ").append(help);
  text.append("\n# TYPE ").append(prefix).append(name).append(" ").append(type).append("\n");
}

}  // namespace

std::string metricsText(std::span<const Counters* const> loops) {
  using Kind = MetricRow::Kind;
  std::string text;
  for (const MetricRow& row : metricRows) {
    appendHead(text, row.name, row.help, row.kind == Kind::counter ? "counter" : "gauge");
    std::int64_t sum = 0;
    std::int64_t largest = 0;
    for (const Counters* counters : loops) {
      const std::int64_t value = counters->value(row.metric);
      sum += value;
      largest = std::max(largest, value);
    }
    text.append(prefix).append(row.name).append(" ");
    text += row.kind == Kind::largestNanoseconds
                ? std::to_string(static_cast<double>(largest) / 1e9)
                : std::to_string(sum);
    text += "\n";
  }
  appendHead(text, "connections_ended_total", "Connections that have ended, by reason.", "counter");
  for (const CloseRow& row : closeRows) {
    std::int64_t sum = 0;
    for (const Counters* counters : loops) {
      sum += counters->value(row.reason);
    }
    text.append(prefix).append("connections_ended_total{reason=\"").append(row.label);
    text.append("\"} ").append(std::to_string(sum)).append("\n");
  }
  return text;
}

}  // namespace orvik::relay
