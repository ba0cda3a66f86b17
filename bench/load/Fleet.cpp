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
    : plan_(plan),
      events_(epoll_create1(EPOLL_CLOEXEC)),
      envelope_(envelope(plan.envelopeSize)),
      random_(plan.run + plan.firstPairing) {
  if (!events_) {
    throw std::system_error(errno, std::generic_category(), "epoll_create1");
  }
  if (plan_.usesTLS) {
    context_ = clientContext();
  }
  slots_.resize(plan_.pairings * size());
}

Report Fleet::carryOut(const Command& command) {
  report_ = {};
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
  }
  report_.accepted = accepted_;
  return report_;
}

void Fleet::connectAll(const Command& command) {
  comesBack_ = true;
  const std::size_t until = std::min(command.pairings * size(), slots_.size());
  for (; wanted_ < until; ++wanted_) {
    due_.push({0, wanted_});
  }
  awaitAccepted(until, command.patience, true);
}

void Fleet::cut(const Command& command) {
  comesBack_ = true;
  due_ = {};
  std::uniform_int_distribution<std::int64_t> wait(0, command.jitter);
  const std::int64_t start = now();
  for (std::size_t slot = 0; slot < wanted_; ++slot) {
    slots_[slot] = {};
    due_.push({start + wait(random_), slot});
  }
  accepted_ = 0;
  connecting_ = 0;
  awaitAccepted(wanted_, command.patience, false);
}

void Fleet::awaitAccepted(std::size_t wanted, std::int64_t patience, bool isThrottled) {
  std::int64_t lastProgress = now();
  std::size_t lastAccepted = accepted_;
  while (accepted_ < wanted) {
    const std::int64_t time = now();
    while (!due_.empty() && due_.top().at <= time &&
           (!isThrottled || connecting_ < plan_.handshakes)) {
      const std::size_t slot = due_.top().slot;
      due_.pop();
      begin(slot);
    }
    const bool isWaiting = !due_.empty() && (!isThrottled || connecting_ < plan_.handshakes);
    turn(isWaiting ? std::min(due_.top().at, time + 100 * millisecond) : time + 100 * millisecond);
    if (accepted_ != lastAccepted) {
      lastAccepted = accepted_;
      lastProgress = now();
    } else if (now() - lastProgress > patience) {
      break;
    }
  }
}

void Fleet::run(const Command& command) {
  comesBack_ = false;
  isClosedLoop_ = command.rate == 0;
  const std::size_t pairings = wanted_ / size();
  if (pairings == 0) {
    return;
  }
  std::uint64_t sent = 0;
  std::uint64_t toggled = 0;
  while (now() < command.begin) {
    turn(command.begin);
  }
  runBegin_ = command.begin;
  for (unsigned round = 0; isClosedLoop_ && round < command.window; ++round) {
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
  isClosedLoop_ = false;
  const std::int64_t end = now() + grace;
  while (now() < end && report_.delivered < report_.sent * plan_.phones) {
    turn(now() + 10 * millisecond);
  }
}

void Fleet::begin(std::size_t slot) {
  Slot& its = slots_[slot];
  const std::size_t pairing = plan_.firstPairing + slot / size();
  const auto number = static_cast<unsigned>(slot % size());
  const in_addr source = sourceAddress(pairing);
  its.begun = its.saidAt = now();
  ++its.attempts;
  ++connecting_;
  try {
    its.client = std::make_unique<Client>(
        Transport::connect(plan_.target, source, context_.get()), plan_.speech,
        Party{number == 0 ? Side::mac : Side::phone, identifierOf(plan_.run, pairing), number});
    if (plan_.introduces) {
      its.client->introduce(source);
    }
    its.awaitsWriting = false;
    epoll_event event{};
    event.events = EPOLLIN;
    event.data.u64 = slot;
    if (epoll_ctl(events_.get(), EPOLL_CTL_ADD, its.client->descriptor(), &event) != 0) {
      throw std::system_error(errno, std::generic_category(), "epoll_ctl");
    }
    serve(slot);
  } catch (const std::system_error& error) {
    failed(slot, error.what());
  }
}

void Fleet::failed(std::size_t slot, const std::string& why) {
  Slot& its = slots_[slot];
  if (report_.refused + report_.lost == 0) {
    why.copy(report_.trouble.data(), report_.trouble.size() - 1);
  }
  if (its.isAccepted) {
    ++report_.lost;
    --accepted_;
  } else {
    ++report_.refused;
    --connecting_;
  }
  const unsigned attempts = std::min(its.attempts, 6U);
  its = {};
  its.attempts = attempts;
  if (comesBack_) {
    // As a client waits: 1, 2, 4 … s, and a part of it at random.
    std::uniform_int_distribution<std::int64_t> jitter(0, second);
    due_.push({now() + (second << (attempts - 1)) + jitter(random_), slot});
  }
}

void Fleet::turn(std::int64_t until) {
  std::array<epoll_event, 256> ready;
  const std::int64_t wait = std::max<std::int64_t>(0, until - now());
  const timespec timeout{wait / second, wait % second};
  const int count =
      epoll_pwait2(events_.get(), ready.data(), static_cast<int>(ready.size()), &timeout, nullptr);
  for (int at = 0; at < count; ++at) {
    serve(ready[static_cast<std::size_t>(at)].data.u64);
  }
  if (now() - lastLook_ > second) {
    lastLook_ = now();
    keepAlive();
  }
}

void Fleet::serve(std::size_t slot) {
  if (slots_[slot].client) {
    slots_[slot].client->advance([this, slot](const Heard& word) { heard(slot, word); });
    settle(slot);
  }
}

void Fleet::settle(std::size_t slot) {
  Slot& its = slots_[slot];
  if (its.client->state() == Client::State::ended) {
    failed(slot, its.client->trouble());
    return;
  }
  if (!its.isAccepted && its.client->state() == Client::State::accepted) {
    its.isAccepted = true;
    its.attempts = 0;
    --connecting_;
    ++accepted_;
    report_.lastAccepted = now();
    if (comesBack_) {
      report_.latency.add(report_.lastAccepted - its.begun);
    }
  }
  watch(slot);
}

void Fleet::watch(std::size_t slot) {
  Slot& its = slots_[slot];
  if (its.awaitsWriting == its.client->awaitsWriting()) {
    return;
  }
  its.awaitsWriting = !its.awaitsWriting;
  epoll_event event{};
  event.events = its.awaitsWriting ? EPOLLIN | EPOLLOUT : EPOLLIN;
  event.data.u64 = slot;
  epoll_ctl(events_.get(), EPOLL_CTL_MOD, its.client->descriptor(), &event);
}

void Fleet::heard(std::size_t slot, const Heard& heard) {
  const std::size_t mac = macOf(slot);
  if (heard.kind == Heard::Kind::presence && slots_[slot].changedAt != 0) {
    ++report_.presences;
    report_.presenceLatency.add(now() - std::exchange(slots_[slot].changedAt, 0));
  }
  if (heard.kind != Heard::Kind::envelope || slot == mac) {
    return;
  }
  const auto time = stampOf(heard.text);
  if (!time || *time < runBegin_) {
    return;
  }
  ++report_.delivered;
  report_.latency.add(now() - *time);
  unsigned& outstanding = slots_[mac].outstanding;
  if (outstanding > 0 && --outstanding % plan_.phones == 0 && isClosedLoop_) {
    publish(mac);
  }
}

void Fleet::publish(std::size_t mac) {
  Slot& its = slots_[mac];
  if (!its.isAccepted) {
    return;
  }
  its.saidAt = now();
  stamp(envelope_, its.saidAt);
  its.outstanding += plan_.phones;
  ++report_.sent;
  its.client->publish(envelope_);
  watch(mac);
}

void Fleet::toggle(std::size_t phone) {
  Slot& its = slots_[phone];
  Slot& mac = slots_[macOf(phone)];
  if (!its.isAccepted || !mac.isAccepted) {
    return;
  }
  its.outstanding = 1 - its.outstanding;
  its.saidAt = mac.changedAt = now();
  its.client->say(its.outstanding == 1 ? R"({"active":true})" : R"({"active":false})");
  watch(phone);
}

void Fleet::keepAlive() {
  const std::string_view word = load::keepAlive(plan_.speech);
  for (std::size_t slot = 0; !word.empty() && slot < wanted_; ++slot) {
    Slot& its = slots_[slot];
    if (its.isAccepted && lastLook_ - its.saidAt > silence) {
      its.saidAt = lastLook_;
      its.client->say(word);
      watch(slot);
    }
  }
}

}  // namespace orvik::load
