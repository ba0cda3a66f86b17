#pragma once

#include <array>
#include <atomic>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>

#include "relay/CloseReason.h"
#include "relay/RecordStore.h"
#include "relay/cluster/NATSNeighbours.h"
#include "relay/push/PushState.h"

namespace orvik::relay {

/// What is counted. Each has its row below, in the same order.
enum class Metric : std::uint8_t {
  connections,
  authenticated,
  bufferedBytes,
  loopLag,
  handshakesWaiting,
  accepted,
  acceptPauses,
  handedOver,
  requests,
  messagesReceived,
  messagesSent,
  bytesReceived,
  bytesSent,
  certificateExpiry,
  certificateReloads,
  certificateFailures,
  count
};

struct MetricRow {
  enum class Kind { gauge, counter, largestNanoseconds };
  Metric metric;
  Kind kind;
  /// Behind "orvik_relay_".
  std::string_view name;
  std::string_view help;
};

inline constexpr std::array<MetricRow, static_cast<std::size_t>(Metric::count)> metricRows{{
    {Metric::connections, MetricRow::Kind::gauge, "connections", "Open connections."},
    {Metric::authenticated, MetricRow::Kind::gauge, "authenticated_connections",
     "Connections that have presented a token which was not refused."},
    {Metric::bufferedBytes, MetricRow::Kind::gauge, "buffered_bytes",
     "Bytes that wait for receivers, and of messages that are not complete yet."},
    {Metric::loopLag, MetricRow::Kind::largestNanoseconds, "loop_lag_seconds",
     "How late the latest event loop has looked at its deadlines."},
    {Metric::handshakesWaiting, MetricRow::Kind::gauge, "handshakes_waiting",
     "Connections that wait for their TLS handshake."},
    {Metric::accepted, MetricRow::Kind::counter, "accepted_total",
     "Connections taken from the system."},
    {Metric::acceptPauses, MetricRow::Kind::counter, "accept_pauses_total",
     "Times that accepting paused for want of descriptors or authentication."},
    {Metric::handedOver, MetricRow::Kind::counter, "handed_over_total",
     "Connections that moved to the event loop of their identifier."},
    {Metric::requests, MetricRow::Kind::counter, "http_requests_total",
     "HTTP requests that were answered, upgrades included."},
    {Metric::messagesReceived, MetricRow::Kind::counter, "messages_received_total",
     "WebSocket messages received."},
    {Metric::messagesSent, MetricRow::Kind::counter, "messages_sent_total",
     "WebSocket messages put in the queue of a receiver."},
    {Metric::bytesReceived, MetricRow::Kind::counter, "received_bytes_total",
     "Bytes received, without TLS."},
    {Metric::bytesSent, MetricRow::Kind::counter, "sent_bytes_total", "Bytes sent, without TLS."},
    {Metric::certificateExpiry, MetricRow::Kind::gauge, "certificate_expiry_timestamp_seconds",
     "When the certificate ends, in Unix time."},
    {Metric::certificateReloads, MetricRow::Kind::counter, "certificate_reloads_total",
     "Times that a certificate was read anew and taken."},
    {Metric::certificateFailures, MetricRow::Kind::counter, "certificate_failures_total",
     "Times that a new certificate was of no use and the old one stayed."},
}};

/// What one event loop counts. Its thread alone changes it; every thread may read it.
class Counters {
 public:
  void add(Metric metric, std::int64_t amount = 1) { add(values.at(index(metric)), amount); }
  void set(Metric metric, std::int64_t value) {
    values.at(index(metric)).store(value, std::memory_order_relaxed);
  }
  void ended(CloseReason reason) { add(ends.at(static_cast<std::size_t>(reason)), 1); }

  [[nodiscard]] std::int64_t value(Metric metric) const {
    return values.at(index(metric)).load(std::memory_order_relaxed);
  }
  [[nodiscard]] std::int64_t value(CloseReason reason) const {
    return ends.at(static_cast<std::size_t>(reason)).load(std::memory_order_relaxed);
  }

 private:
  using Cell = std::atomic<std::int64_t>;

  static std::size_t index(Metric metric) { return static_cast<std::size_t>(metric); }
  /// There is one writer, so nothing has to be locked.
  static void add(Cell& cell, std::int64_t amount) {
    cell.store(cell.load(std::memory_order_relaxed) + amount, std::memory_order_relaxed);
  }

  std::array<Cell, metricRows.size()> values{};
  std::array<Cell, closeRows.size()> ends{};
};

/// All counters together in the text format of Prometheus.
[[nodiscard]] std::string metricsText(std::span<const Counters* const> loops);
/// The store's state in the same format, and that of pushing.
[[nodiscard]] std::string metricsText(const StoreState& store);
[[nodiscard]] std::string metricsText(const PushState& pushes);
/// What goes to and fro between the relays of a cluster.
[[nodiscard]] std::string metricsText(const NATSNeighbours::State& neighbours);

static_assert(
    [] {
      for (std::size_t i = 0; i < metricRows.size(); ++i) {
        if (metricRows.at(i).metric != static_cast<Metric>(i)) {
          return false;
        }
      }
      return true;
    }(),
    "the rows stand in the order of the enumeration");

}  // namespace orvik::relay
