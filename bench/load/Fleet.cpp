#include "bench/load/Fleet.h"

#include <sys/epoll.h>

#include <algorithm>
#include <cerrno>
#include <system_error>

namespace orvik::load {
namespace {

constexpr std::int64_t second = 1'000'000'000;
constexpr std::int64_t millisecond = 1'000'000;
// Well under the 180 s after which the relay takes a silent connection for dead.
constexpr std::int64_t silence = 60 * second;
// What is on its way when a run ends may still arrive.
constexpr std::int64_t grace = 2 * second;

SSLContext clientContext() {
  SSLContext context(SSL_CTX_new(TLS_client_method()));
  if (!context) {
    throw std::runtime_error("TLS cannot be set up");
  }
  SSL_CTX_set_mode(context.get(), SSL_MODE_RELEASE_BUFFERS | SSL_MODE_ENABLE_PARTIAL_WRITE |
                                      SSL_MODE_ACCEPT_MOVING_WRITE_BUFFER);
  SSL_CTX_set_verify(context.get(), SSL_VERIFY_NONE, nullptr);
  SSL_CTX_set_session_cache_mode(context.get(), SSL_SESS_CACHE_OFF);
  // One look at the socket takes head and body of a record.
  SSL_CTX_set_read_ahead(context.get(), 1);
  return context;
}

}  // namespace

std::int64_t now() {
  return std::chrono::duration_cast<std::chrono::nanoseconds>(
             std::chrono::steady_clock::now().time_since_epoch())
      .count();
}

Fleet::Fleet(const FleetPlan& plan)
    : plan(plan),
      events(epoll_create1(EPOLL_CLOEXEC)),
      letter(envelope(plan.envelopeSize)),
      random(plan.run + plan.firstPairing) {
  if (!events) {
    throw std::system_error(errno, std::generic_category(), "epoll_create1");
  }
  if (plan.usesTLS) {
    context = clientContext();
  }
  slots.resize(plan.pairings * size());
}

Report Fleet::carryOut(const Command& command) {
  report = {};
  switch (command.kind) {
    case Command::Kind::connect:
      connectAll(command);
      break;
    case Command::Kind::run:
      run(command);
      break;
    case Command::Kind::cut:
      cut(command);
      break;
    case Command::Kind::outage:
      outage(command);
      break;
  }
  report.accepted = acceptedNow;
  return report;
}

void Fleet::connectAll(const Command& command) {
  comesBack = true;
  const std::size_t until = std::min(command.pairings * size(), slots.size());
  for (; members < until; ++members) {
    due.push({0, members});
  }
  awaitAccepted(until, command.patience, true);
}

void Fleet::cut(const Command& command) {
  comesBack = true;
  due = {};
  std::uniform_int_distribution<std::int64_t> wait(0, command.jitter);
  const std::int64_t start = now();
  for (std::size_t slot = 0; slot < members; ++slot) {
    slots[slot] = {};
    due.push({start + wait(random), slot});
  }
  acceptedNow = 0;
  connecting = 0;
  awaitAccepted(members, command.patience, false);
}

void Fleet::awaitAccepted(std::size_t wanted, std::int64_t patience, bool isThrottled) {
  std::int64_t lastProgress = now();
  std::size_t lastAccepted = acceptedNow;
  while (acceptedNow < wanted) {
    beginDue(isThrottled);
    const std::int64_t time = now();
    const bool isWaiting = !due.empty() && (!isThrottled || connecting < plan.handshakes);
    turn(isWaiting ? std::min(due.top().at, time + 100 * millisecond) : time + 100 * millisecond);
    if (acceptedNow != lastAccepted) {
      lastAccepted = acceptedNow;
      lastProgress = now();
    } else if (now() - lastProgress > patience) {
      break;
    }
  }
}

void Fleet::beginDue(bool isThrottled) {
  const std::int64_t time = now();
  while (!due.empty() && due.top().at <= time && (!isThrottled || connecting < plan.handshakes)) {
    const std::size_t slot = due.top().slot;
    due.pop();
    begin(slot);
  }
}

void Fleet::outage(const Command& command) {
  comesBack = true;
  while (now() < command.end) {
    beginDue(false);
    const std::int64_t next = now() + 100 * millisecond;
    turn(due.empty() ? next : std::min(due.top().at, next));
  }
  for (std::size_t mac = 0; mac < members; mac += size()) {
    if (isInformed(mac)) {
      ++report.informed;
    }
  }
}

bool Fleet::isInformed(std::size_t mac) const {
  const auto phones = slots.begin() + static_cast<std::ptrdiff_t>(mac);
  const auto there = std::count_if(phones + 1, phones + static_cast<std::ptrdiff_t>(size()),
                                   [](const Slot& phone) { return phone.isAccepted; });
  return slots[mac].isAccepted && slots[mac].viewers == static_cast<unsigned>(there);
}

const Target& Fleet::targetOf(std::size_t slot) const {
  const std::size_t pairing = plan.firstPairing + slot / size();
  const std::size_t side = plan.isTogether ? 0 : slot % size();
  return plan.targets[(pairing + side + slots[slot].attempts) % plan.targets.size()];
}

void Fleet::run(const Command& command) {
  comesBack = false;
  isClosedLoop = command.rate == 0;
  const std::size_t pairings = members / size();
  if (pairings == 0) {
    return;
  }
  std::uint64_t sent = 0;
  std::uint64_t toggled = 0;
  while (now() < command.begin) {
    turn(command.begin);
  }
  runBegin = command.begin;
  for (unsigned round = 0; isClosedLoop && round < command.window; ++round) {
    for (std::size_t pairing = 0; pairing < pairings; ++pairing) {
      publish(pairing * size());
    }
  }
  for (std::int64_t time = now(); time < command.end; time = now()) {
    const double passed = static_cast<double>(time - command.begin) / static_cast<double>(second);
    for (; static_cast<double>(sent) < passed * command.rate; ++sent) {
      publish(sent % pairings * size());
    }
    for (; static_cast<double>(toggled) < passed * command.presenceRate; ++toggled) {
      toggle(toggled % pairings * size() + 1);
    }
    turn(std::min(command.end, time + millisecond));
  }
  isClosedLoop = false;
  const std::int64_t end = now() + grace;
  while (now() < end && report.delivered < report.sent * plan.phones) {
    turn(now() + 10 * millisecond);
  }
}

void Fleet::begin(std::size_t slot) {
  Slot& its = slots[slot];
  const std::size_t pairing = plan.firstPairing + slot / size();
  const auto number = static_cast<unsigned>(slot % size());
  const in_addr source = sourceAddress(pairing);
  const Target& target = targetOf(slot);
  its.begun = its.saidAt = now();
  ++its.attempts;
  ++connecting;
  try {
    its.client = std::make_unique<Client>(
        Transport::connect(target, source, context.get()), plan.speech,
        Party{number == 0 ? Side::mac : Side::phone, identifierOf(plan.run, pairing), number});
    if (plan.introduces) {
      its.client->introduce(source);
    }
    its.awaitsWriting = false;
    epoll_event event{};
    event.events = EPOLLIN;
    event.data.u64 = slot;
    if (epoll_ctl(events.get(), EPOLL_CTL_ADD, its.client->descriptor(), &event) != 0) {
      throw std::system_error(errno, std::generic_category(), "epoll_ctl");
    }
    serve(slot);
  } catch (const std::system_error& error) {
    failed(slot, error.what());
  }
}

void Fleet::failed(std::size_t slot, const std::string& why) {
  Slot& its = slots[slot];
  if (report.refused + report.lost == 0) {
    why.copy(report.trouble.data(), report.trouble.size() - 1);
  }
  if (its.isAccepted) {
    report.firstLost = report.firstLost == 0 ? now() : report.firstLost;
    ++report.lost;
    --acceptedNow;
  } else {
    ++report.refused;
    --connecting;
  }
  const unsigned attempts = std::min(its.attempts, 6U);
  its = {};
  its.attempts = attempts;
  if (comesBack) {
    // As a client waits: 1, 2, 4 … s, and a part of it at random.
    std::uniform_int_distribution<std::int64_t> jitter(0, second);
    due.push({now() + (second << (attempts - 1)) + jitter(random), slot});
  }
}

void Fleet::turn(std::int64_t until) {
  std::array<epoll_event, 256> ready;
  const std::int64_t wait = std::max<std::int64_t>(0, until - now());
  const timespec timeout{wait / second, wait % second};
  const int count =
      epoll_pwait2(events.get(), ready.data(), static_cast<int>(ready.size()), &timeout, nullptr);
  for (int at = 0; at < count; ++at) {
    serve(ready[static_cast<std::size_t>(at)].data.u64);
  }
  if (now() - lastLook > second) {
    lastLook = now();
    keepAlive();
  }
}

void Fleet::serve(std::size_t slot) {
  if (slots[slot].client) {
    slots[slot].client->advance([this, slot](const Heard& word) { heard(slot, word); });
    settle(slot);
  }
}

void Fleet::settle(std::size_t slot) {
  Slot& its = slots[slot];
  if (its.client->state() == Client::State::ended) {
    failed(slot, its.client->trouble());
    return;
  }
  if (!its.isAccepted && its.client->state() == Client::State::accepted) {
    its.isAccepted = true;
    its.attempts = 0;
    --connecting;
    ++acceptedNow;
    report.lastAccepted = now();
    if (comesBack) {
      report.latency.add(report.lastAccepted - its.begun);
    }
  }
  watch(slot);
}

void Fleet::watch(std::size_t slot) {
  Slot& its = slots[slot];
  if (its.awaitsWriting == its.client->awaitsWriting()) {
    return;
  }
  its.awaitsWriting = !its.awaitsWriting;
  epoll_event event{};
  event.events = its.awaitsWriting ? EPOLLIN | EPOLLOUT : EPOLLIN;
  event.data.u64 = slot;
  epoll_ctl(events.get(), EPOLL_CTL_MOD, its.client->descriptor(), &event);
}

void Fleet::heard(std::size_t slot, const Heard& heard) {
  const std::size_t mac = macOf(slot);
  if (heard.kind == Heard::Kind::presence) {
    heardPresence(slots[slot], viewersIn(heard.text));
  }
  if (heard.kind != Heard::Kind::envelope || slot == mac) {
    return;
  }
  const auto time = stampOf(heard.text);
  if (!time || *time < runBegin) {
    return;
  }
  ++report.delivered;
  report.latency.add(now() - *time);
  unsigned& outstanding = slots[mac].outstanding;
  if (outstanding > 0 && --outstanding % plan.phones == 0 && isClosedLoop) {
    publish(mac);
  }
}

void Fleet::heardPresence(Slot& mac, unsigned viewers) {
  report.lastPresence = now();
  if (mac.changedAt != 0) {
    ++report.presences;
    report.presenceLatency.add(report.lastPresence - std::exchange(mac.changedAt, 0));
  } else if (viewers < mac.viewers && report.firstLost != 0) {
    ++report.presences;
    report.presenceLatency.add(report.lastPresence - report.firstLost);
  }
  mac.viewers = viewers;
}

void Fleet::publish(std::size_t mac) {
  Slot& its = slots[mac];
  if (!its.isAccepted) {
    return;
  }
  its.saidAt = now();
  stamp(letter, its.saidAt);
  its.outstanding += plan.phones;
  ++report.sent;
  its.client->publish(letter);
  watch(mac);
}

void Fleet::toggle(std::size_t phone) {
  Slot& its = slots[phone];
  Slot& mac = slots[macOf(phone)];
  if (!its.isAccepted || !mac.isAccepted) {
    return;
  }
  its.outstanding = 1 - its.outstanding;
  its.saidAt = mac.changedAt = now();
  its.client->say(its.outstanding == 1 ? R"({"active":true})" : R"({"active":false})");
  watch(phone);
}

void Fleet::keepAlive() {
  const std::string_view word = load::keepAlive(plan.speech);
  for (std::size_t slot = 0; !word.empty() && slot < members; ++slot) {
    Slot& its = slots[slot];
    if (its.isAccepted && lastLook - its.saidAt > silence) {
      its.saidAt = lastLook;
      its.client->say(word);
      watch(slot);
    }
  }
}

}  // namespace orvik::load
