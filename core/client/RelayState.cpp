#include "core/client/RelayState.h"

namespace orvik {

namespace {

struct Describer {
  std::string operator()(relayState::Online online) const {
    return "online, " + std::to_string(online.viewers) +
           (online.viewers == 1 ? " phone connected" : " phones connected");
  }
  // Without the time to the next attempt, which grows: the state is the same.
  std::string operator()(const relayState::Waiting& waiting) const {
    return "offline, trying again" + (waiting.reason.empty() ? "" : " (" + waiting.reason + ")");
  }
  std::string operator()(relayState::Connecting /*state*/) const { return "connecting"; }
  std::string operator()(relayState::Rejected /*state*/) const {
    return "pairing lost, add a phone again";
  }
  std::string operator()(relayState::Stopped /*state*/) const { return "stopped"; }
};

}  // namespace

std::string description(const RelayState& state) { return std::visit(Describer{}, state); }

}  // namespace orvik
