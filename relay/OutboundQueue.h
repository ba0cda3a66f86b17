#pragma once

#include <deque>

#include "relay/Limits.h"
#include "relay/Peer.h"

namespace orvik::relay {

/// Messages that wait for a slow connection, bounded in number and size.
class OutboundQueue {
 public:
  explicit OutboundQueue(const Limits& limits)
      : mostMessages(limits.outboundMessages), mostBytes(limits.outboundBytes) {}

  /// Appends a message unless that passes a bound, and says whether it did.
  [[nodiscard]] bool push(SharedText message);
  [[nodiscard]] bool empty() const noexcept { return messages.empty(); }
  /// The oldest message, which stays counted until `pop`. Neither may be called when empty.
  [[nodiscard]] SharedText front() const { return messages.front(); }
  void pop();

 private:
  std::size_t mostMessages;
  std::size_t mostBytes;
  std::deque<SharedText> messages;
  std::size_t bytes = 0;
};

}  // namespace orvik::relay
