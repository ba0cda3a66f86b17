#pragma once

#include <sys/uio.h>

#include <span>
#include <vector>

#include "relay/FramedText.h"
#include "relay/Limits.h"

namespace orvik::relay {

/// Bytes that wait to be sent on one connection, by reference: what goes to many is there once.
class OutboundQueue {
 public:
  /// Appends a message unless that passes a bound, and says whether it did.
  [[nodiscard]] bool push(const SharedText& message, const Limits& limits);
  /// Appends bytes of the relay's own, whatever waits: a control frame, an answer.
  void append(std::string bytes);
  /// Appends bytes that last longer than the queue.
  void appendStatic(std::string_view bytes);

  [[nodiscard]] bool empty() const noexcept { return first == pieces.size(); }
  /// How many bytes wait.
  [[nodiscard]] std::size_t size() const noexcept { return bytes; }
  /// The oldest bytes that lie together. Not to be called when empty.
  [[nodiscard]] std::string_view front() const { return pieces[first].bytes; }
  /// Points at the oldest pieces, as many as fit, and gives how many those are.
  [[nodiscard]] std::size_t gather(std::span<iovec> to) const;
  /// Copies the oldest bytes, as many as fit, and gives how many those are.
  [[nodiscard]] std::size_t copy(std::span<char> to) const;
  /// The oldest `count` bytes have been sent.
  void pop(std::size_t count);
  /// Drops all whole pieces behind the oldest `count` bytes, and keeps a piece that has begun.
  void dropBehind(std::size_t count);

 private:
  struct Piece {
    /// Keeps the bytes; null where they last anyway.
    std::shared_ptr<const void> owner;
    std::string_view bytes;
  };

  std::vector<Piece> pieces;
  /// Of the pieces, those before this one are sent.
  std::uint32_t first = 0;
  bool hasBegun = false;
  std::size_t bytes = 0;
};

}  // namespace orvik::relay
