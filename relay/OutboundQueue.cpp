#include "relay/OutboundQueue.h"

#include <algorithm>
#include <cstring>

namespace orvik::relay {

bool OutboundQueue::push(const SharedText& message, const Limits& limits) {
  const std::string_view frame = message->frame();
  // A message as long as they may be always fits into an empty queue, whatever its header takes.
  if (pieces.size() - first >= limits.outboundMessages ||
      (!empty() && bytes + frame.size() > limits.outboundBytes)) {
    return false;
  }
  pieces.push_back({message, frame});
  bytes += frame.size();
  return true;
}

void OutboundQueue::append(std::string own) {
  const auto owner = std::make_shared<const std::string>(std::move(own));
  pieces.push_back({owner, *owner});
  bytes += owner->size();
}

void OutboundQueue::appendStatic(std::string_view lasting) {
  if (!lasting.empty()) {
    pieces.push_back({nullptr, lasting});
    bytes += lasting.size();
  }
}

std::size_t OutboundQueue::gather(std::span<iovec> to) const {
  const std::size_t count = std::min(to.size(), pieces.size() - first);
  for (std::size_t i = 0; i < count; ++i) {
    const std::string_view piece = pieces[first + i].bytes;
    // It is read only, whatever the type says.
    to[i] = {const_cast<char*>(piece.data()), piece.size()};  // NOLINT(*-const-cast)
  }
  return count;
}

std::size_t OutboundQueue::copy(std::span<char> to) const {
  std::size_t copied = 0;
  for (std::size_t i = first; i < pieces.size() && copied < to.size(); ++i) {
    const std::string_view piece = pieces[i].bytes.substr(0, to.size() - copied);
    std::memcpy(to.data() + copied, piece.data(), piece.size());
    copied += piece.size();
  }
  return copied;
}

void OutboundQueue::pop(std::size_t count) {
  bytes -= count;
  while (count > 0) {
    std::string_view& piece = pieces[first].bytes;
    const std::size_t taken = std::min(count, piece.size());
    piece.remove_prefix(taken);
    count -= taken;
    hasBegun = !piece.empty();
    if (!hasBegun) {
      pieces[first].owner.reset();
      ++first;
    }
  }
  constexpr std::size_t keptRoom = 4;
  constexpr std::size_t limitOfSent = 64;
  if (empty()) {
    pieces.clear();
    first = 0;
    if (pieces.capacity() > keptRoom) {
      pieces.shrink_to_fit();
    }
  } else if (first > limitOfSent) {
    pieces.erase(pieces.begin(), pieces.begin() + first);
    first = 0;
  }
}

void OutboundQueue::dropBehind(std::size_t count) {
  std::size_t kept = first;
  std::size_t keptBytes = 0;
  while (kept < pieces.size() && (keptBytes < count || (kept == first && hasBegun))) {
    keptBytes += pieces[kept].bytes.size();
    ++kept;
  }
  pieces.resize(kept);
  bytes = keptBytes;
}

}  // namespace orvik::relay
