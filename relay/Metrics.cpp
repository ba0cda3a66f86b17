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

void append(std::string& text, std::string_view name, std::string_view help, std::string_view type,
            std::uint64_t value) {
  appendHead(text, name, help, type);
  text.append(prefix).append(name).append(" ").append(std::to_string(value)).append("\n");
}

/// One series of a histogram. `labels` are those that tell it from the others of its name.
void appendTimes(std::string& text, std::string_view name, const std::string& labels,
                 const AnswerTimes& times) {
  const auto line = [&](std::string_view part, const std::string& bound, const std::string& value) {
    const std::string both = labels + (labels.empty() || bound.empty() ? "" : ",") + bound;
    text.append(prefix).append(name).append(part);
    text.append(both.empty() ? "" : "{" + both + "}").append(" ").append(value).append("\n");
  };
  std::uint64_t sum = 0;
  for (std::size_t i = 0; i < times.counts.size(); ++i) {
    sum += times.counts.at(i);
    std::string bound = "+Inf";
    if (i < AnswerTimes::bounds.size()) {
      bound = std::to_string(AnswerTimes::bounds.at(i));
    }
    line("_bucket", "le=\"" + bound + "\"", std::to_string(sum));
  }
  line("_sum", "", std::to_string(times.totalSeconds));
  line("_count", "", std::to_string(sum));
}

}  // namespace

std::string metricsText(const StoreState& store) {
  std::string out;
  appendHead(out, "store_health", "1 for what the store can do at present.", "gauge");
  out.append(prefix).append("store_health{state=\"").append(text(store.health)).append("\"} 1\n");
  append(out, "store_queue", "Questions that wait for the store.", "gauge", store.queued);
  append(out, "store_queue_limit", "How many of them there may be.", "gauge", store.mostQueued);
  append(out, "store_refused_total", "Questions that found the queue full.", "counter",
         store.refused);
  append(out, "store_damaged_files_total", "Files that were found damaged and moved aside.",
         "counter", store.damagedFiles);
  appendHead(out, "store_answer_seconds", "From a question to the answer of the store.",
             "histogram");
  appendTimes(out, "store_answer_seconds", R"(operation="find")", store.find);
  appendTimes(out, "store_answer_seconds", R"(operation="claim")", store.claim);
  appendTimes(out, "store_answer_seconds", R"(operation="keep")", store.keep);
  if (store.subscriptions) {
    append(out, "subscriptions", "Phones that alerts are pushed to.", "gauge",
           *store.subscriptions);
  }
  return out;
}

std::string metricsText(const PushState& pushes) {
  std::string out;
  append(out, "pushes_total", "Alerts that a push service has taken for a phone.", "counter",
         pushes.sent);
  appendHead(out, "push_failures_total", "Alerts that no push service has taken, by cause.",
             "counter");
  for (const PushFailureRow& row : pushFailureRows) {
    out.append(prefix).append("push_failures_total{cause=\"").append(row.label).append("\"} ");
    out.append(std::to_string(pushes.failures.at(static_cast<std::size_t>(row.failure))));
    out.append("\n");
  }
  append(out, "push_queue", "Pushes that wait for their turn or an answer.", "gauge",
         pushes.waiting);
  appendHead(out, "push_answer_seconds",
             "From an alert's arrival to the answer of the push service that takes it.",
             "histogram");
  appendTimes(out, "push_answer_seconds", "", pushes.times);
  return out;
}

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

std::string metricsText(const NATSNeighbours::State& neighbours) {
  std::string out;
  const NATSConnection::State& connection = neighbours.connection;
  append(out, "cluster_connected", "Whether other relays can be told anything.", "gauge",
         connection.isConnected ? 1U : 0U);
  append(out, "cluster_relays", "Other relays that are there.", "gauge", neighbours.relays);
  append(out, "cluster_disconnections_total", "Times that the connection to them was lost.",
         "counter", connection.lost);
  append(out, "cluster_sent_total", "Messages to other relays.", "counter", connection.sent);
  append(out, "cluster_sent_bytes_total", "Bytes of them.", "counter", connection.sentBytes);
  append(out, "cluster_received_total", "Messages from other relays.", "counter",
         connection.received);
  append(out, "cluster_received_bytes_total", "Bytes of them.", "counter",
         connection.receivedBytes);
  append(out, "cluster_refused_total",
         "Messages to other relays for which there was no room or no connection.", "counter",
         connection.refused);
  return out;
}

}  // namespace orvik::relay
