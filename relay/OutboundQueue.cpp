#include "relay/OutboundQueue.h"

namespace orvik::relay {

bool OutboundQueue::push(SharedText message) {
  if (messages.size() >= mostMessages || message->size() > mostBytes - bytes) {
    return false;
  }
  bytes += message->size();
  messages.push_back(std::move(message));
  return true;
}

void OutboundQueue::pop() {
  bytes -= messages.front()->size();
  messages.pop_front();
}

}  // namespace orvik::relay
