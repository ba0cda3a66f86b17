#include "relay/cluster/NATSNeighbours.h"

#include <algorithm>
#include <charconv>
#include <random>
#include <utility>

#include "core/values/Base64.h"
#include "relay/cluster/RelayMessage.h"

namespace orvik::relay {

namespace {

using namespace std::chrono_literals;

/// A relay that is heard of again after this is a new one.
constexpr auto memory = 1h;
/// Far more than anybody has; a stranger could name any number.
constexpr std::size_t mostRelays = 4096;
constexpr std::size_t signatureSize = 16;
/// Between the number of a sign of life and the key that its relay pushes with.
constexpr char keyMark = ' ';

RelayID randomID() {
  std::random_device random;
  constexpr RelayID most = (RelayID{1} << 53U) - 1;
  return ((RelayID{random()} << 32U) | random()) & most;
}

/// Sixteen hexadecimal digits.
std::string signatureOf(RelayID relay) {
  std::array<char, signatureSize> digits{};
  char* const end = std::to_chars(digits.begin(), digits.end(), relay, 16).ptr;
  const auto count = static_cast<std::size_t>(end - digits.begin());
  return std::string(signatureSize - count, '0') + std::string(digits.begin(), end);
}

std::optional<RelayID> signatureIn(std::string_view data) {
  RelayID relay = 0;
  if (data.size() < signatureSize) {
    return std::nullopt;
  }
  const char* const end = data.data() + signatureSize;
  const auto read = std::from_chars(data.data(), end, relay, 16);
  return read.ec == std::errc() && read.ptr == end ? std::optional(relay) : std::nullopt;
}

std::optional<std::uint64_t> signIn(std::string_view data) {
  std::uint64_t sign = 0;
  const std::string_view digits = data.substr(0, data.find(keyMark));
  const char* const end = digits.data() + digits.size();
  const auto read = std::from_chars(digits.data(), end, sign);
  return read.ec == std::errc() && read.ptr == end ? std::optional(sign) : std::nullopt;
}

}  // namespace

NATSNeighbours::NATSNeighbours(Settings settings, const Limits& limits,
                               std::shared_ptr<Clock> clock, NeighbourListener& listener, Log log)
    : settings(std::move(settings)),
      limits(limits),
      clock(std::move(clock)),
      listener(listener),
      log(std::move(log)),
      id(randomID()),
      signature(signatureOf(id)),
      nextSign(this->clock->now()),
      connection(this->settings.connection, limits.neighbourQueueBytes, *this) {
  this->settings.connection.check();
  connection.join(this->settings.name + ".relays");
  connection.join(trialSubject());
  connection.start();
}

void NATSNeighbours::join(const Identifier& identifier) { connection.join(subjectOf(identifier)); }

void NATSNeighbours::leave(const Identifier& identifier) {
  connection.leave(subjectOf(identifier));
}

void NATSNeighbours::tell(const Identifier& identifier, std::string_view message) {
  std::string whole;
  whole.reserve(signatureSize + message.size());
  whole.append(signature).append(message);
  // The others notice by the signs of life, and ask for everything.
  const bool isSent = connection.send({subjectOf(identifier), std::move(whole)});
  if (!isSent && !RelayMessage::isEnvelope(message)) {
    isAnythingLost = true;
  }
}

NATSNeighbours::State NATSNeighbours::state() const {
  const std::lock_guard guard(mutex);
  const auto live =
      std::ranges::count_if(relays, [](const auto& each) { return !each.second.isGone; });
  return {connection.state(), static_cast<std::size_t>(live)};
}

void NATSNeighbours::connected() {
  const std::lock_guard guard(mutex);
  isConnected = true;
  // Before anything that is said again, so that it counts as said after what was lost.
  signs = 0;
  isAnythingLost = false;
  sign();
  static_cast<void>(connection.send({trialSubject(), signature}));
  if (const std::size_t longest = connection.longestMessage();
      longest < RelayMessage::longest + signatureSize && !std::exchange(wasLogged, true)) {
    log("the cluster's servers take messages of " + std::to_string(longest) +
        " bytes at most (max_payload): longer ones do not reach phones at other relays");
  }
  listener.back();
}

void NATSNeighbours::lost(const std::string& /*why*/) {
  const std::lock_guard guard(mutex);
  // All but this the store says, over a connection like this one.
  const std::string refusal = connection.state().refusal;
  if (!refusal.empty() && !std::exchange(wasRefused, true)) {
    log("other relays cannot be heard: the cluster's servers do not let this one's user (" +
        refusal + ")");
  }
  if (std::exchange(isConnected, false)) {
    relays.clear();
    listener.cutOff();
  }
}

void NATSNeighbours::received(std::string_view subject, std::string_view data, bool isUnheard) {
  const auto relay = signatureIn(data);
  if (isUnheard || !relay || *relay == id || data.size() > RelayMessage::longest + signatureSize) {
    return;
  }
  std::optional<Identifier> identifier;
  std::optional<std::uint64_t> sign;
  const std::string start = settings.name + ".at.";
  if (subject.starts_with(start)) {
    const auto bytes = bytesFromBase64URL(subject.substr(start.size()));
    if (!bytes || bytes->size() != Identifier().size()) {
      return;
    }
    identifier.emplace();
    std::ranges::copy(*bytes, identifier->begin());
  } else if (sign = signIn(data.substr(signatureSize)); !sign) {
    return;
  }
  const std::lock_guard guard(mutex);
  if (sign) {
    comparePushKey(data);
  }
  if (isConnected && noteLife(*relay, sign) && identifier) {
    listener.heard(*identifier, *relay, data.substr(signatureSize));
  }
}

void NATSNeighbours::sign() {
  // A number that is left out tells the others that they miss something.
  if (isAnythingLost.exchange(false)) {
    ++signs;
  }
  static_cast<void>(
      connection.send({settings.name + ".relays",
                       signature + std::to_string(signs++) + keyMark + settings.pushKey}));
  nextSign = clock->now() + limits.heartbeatInterval;
}

bool NATSNeighbours::noteLife(RelayID relay, std::optional<std::uint64_t> sign) {
  if (!relays.contains(relay) && !makeRoom()) {
    return false;
  }
  Relay& state = relays[relay];
  state.heard = clock->now();
  const bool wasGone = std::exchange(state.isGone, false);
  const bool isAnyMissing = sign && state.sign && *sign != *state.sign + 1;
  // Neither has heard what the other said when it came.
  const bool isHeardLate = sign && !state.sign && *sign > 0;
  if (sign) {
    state.sign = sign;
  }
  if (isAnyMissing) {
    listener.missed(relay);
  }
  if (wasGone || isAnyMissing || isHeardLate) {
    listener.back();
  }
  return true;
}

void NATSNeighbours::comparePushKey(std::string_view sign) {
  const std::size_t mark = sign.find(keyMark);
  const std::string_view key = mark == std::string_view::npos ? "" : sign.substr(mark + 1);
  if (key != settings.pushKey && !std::exchange(wasKeyLogged, true)) {
    log("another relay of the cluster pushes with another key, or one of the two does not push: "
        "phones miss pushes until all have the same push-key.pem and --push-subject");
  }
}

bool NATSNeighbours::makeRoom() {
  if (relays.size() < mostRelays) {
    return true;
  }
  // Nearly all must be made up. Those that live stay, whatever else is named.
  const auto oldest = std::ranges::min_element(relays, {}, [](const auto& each) {
    return std::pair(!each.second.isGone, each.second.heard);
  });
  const bool isRoom = oldest->second.isGone;
  if (isRoom) {
    relays.erase(oldest);
  }
  return isRoom;
}

void NATSNeighbours::tick() {
  const std::lock_guard guard(mutex);
  wasRefused = wasRefused && !connection.state().refusal.empty();
  const Instant now = clock->now();
  if (now >= nextSign) {
    sign();
  }
  for (auto& [relay, state] : relays) {
    if (!state.isGone && state.heard <= now - limits.neighbourTime) {
      state.isGone = true;
      state.sign.reset();
      listener.gone(relay);
    }
  }
  std::erase_if(relays, [now](const auto& each) {
    return each.second.isGone && each.second.heard <= now - memory;
  });
}

/// Stands for everybody's, so that a user who may not speak of them is noticed before the first
/// comes.
std::string NATSNeighbours::trialSubject() const { return settings.name + ".at.trial"; }

std::string NATSNeighbours::subjectOf(const Identifier& identifier) const {
  return settings.name + ".at." + base64URL(identifier);
}

}  // namespace orvik::relay
