#pragma once

#include <cstdint>
#include <deque>
#include <string>
#include <vector>

#include "core/alerts/Alert.h"

namespace orvik {

/// Alerts that have been raised and not yet delivered, oldest first. Delivered strictly in order.
///
/// To a relay that says which alerts are safe all go over each connection once, and leave the queue
/// when they are safe; to one that does not, they leave it as they are sent.
class AlertQueue {
 public:
  struct Entry {
    Alert alert;
    /// As it was sealed for a relay that says what is safe: one that knows it has it already.
    std::string envelope{};
    /// Its place among those sent over the present connection, from 1; 0 when it was not.
    std::uint64_t place = 0;
  };

  /// Adds an alert; only the newest 20 are kept.
  void append(Alert alert);

  /// Drops what is more than one hour old and returns the rest, oldest first.
  [[nodiscard]] std::vector<Alert> due(std::int64_t nowMs);

  /// Removes the oldest alert if it equals this one, and nothing otherwise.
  void sent(const Alert& alert);

  /// A connection begins, over which nothing has been sent.
  void connectionBegan();
  /// The oldest that has not been sent over this connection, after dropping what is more than one
  /// hour old. Null when there is none; otherwise valid until the queue is changed.
  [[nodiscard]] Entry* unsent(std::int64_t nowMs);
  /// An entry is about to be sent.
  void sending(Entry& entry) { entry.place = ++sentCount; }
  /// One is about to be sent that leaves the queue when it has been.
  void sendingLast() { ++sentCount; }
  /// The first so many that were sent over this connection are safe: removes them.
  void safe(std::uint64_t count);

 private:
  void dropOld(std::int64_t nowMs);

  std::deque<Entry> pending;
  /// Over the present connection.
  std::uint64_t sentCount = 0;
};

}  // namespace orvik
