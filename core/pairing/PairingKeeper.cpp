#include "core/pairing/PairingKeeper.h"

#include <boost/asio/co_spawn.hpp>
#include <boost/asio/detached.hpp>
#include <boost/asio/post.hpp>

#include <algorithm>
#include <utility>

#include "core/async/Timeout.h"

namespace orvik {

namespace {

using namespace std::chrono_literals;

/// Each call to the store of secrets has limits of its own; a file on a lost share has none.
constexpr auto storeLimit = 1min;
constexpr auto askLimit = 3min;
/// A keyring that has been unlocked should not be noticed later than this.
constexpr std::chrono::seconds longestWait = 4s;
/// A keyring may still be installed, weeks later.
constexpr std::chrono::seconds longestMove = 1h;
/// How long a phone may stay connected that another program has disconnected.
constexpr auto markInterval = 15s;
constexpr std::chrono::hours forEver{24 * 365};

}  // namespace

struct PairingKeeper::Seen {
  /// Nothing when the pairing that is known still counts and nothing else was asked for.
  std::optional<PairingStore::Answer> answer;
  bool counts = false;
};

PairingKeeper::PairingKeeper(asio::any_io_executor givenExecutor, std::shared_ptr<Clock> givenClock,
                             std::shared_ptr<PairingStore> store, std::shared_ptr<AccountLock> lock,
                             Report report, Retire retire)
    : executor(std::move(givenExecutor)),
      clock(std::move(givenClock)),
      store(std::move(store)),
      lock(std::move(lock)),
      onChange(std::move(report)),
      onRetired(std::move(retire)),
      work(clock),
      asking(clock),
      lockWaiting(clock),
      changed(executor) {}

void PairingKeeper::start() {
  asio::post(executor, [self = shared_from_this()] {
    self->hasLock = self->lock->tryTake();
    if (!self->hasLock) {
      self->news.otherProgram = self->lock->holder();
      asio::co_spawn(self->executor, self->awaitLock(), [self](const std::exception_ptr&) {});
    }
    asio::co_spawn(self->executor, self->run(), [self](const std::exception_ptr&) {});
  });
}

void PairingKeeper::replace() {
  asio::post(executor, [self = shared_from_this()] {
    self->wantsNew = true;
    ++self->news.replacements;
    self->changed.notify();
  });
}

void PairingKeeper::unlock() {
  asio::post(executor, [self = shared_from_this()] {
    if (!self->news.isAsking) {
      self->news.isAsking = true;
      self->report();
      asio::co_spawn(self->executor, self->askUser(), [self](const std::exception_ptr&) {});
    }
  });
}

void PairingKeeper::wasTold(const RetiredPairing& retired) {
  asio::post(executor, [self = shared_from_this(), retired] {
    asio::co_spawn(self->executor, self->forget(retired), [self](const std::exception_ptr&) {});
  });
}

asio::awaitable<void> PairingKeeper::run() {
  for (;;) {
    const bool isAsked = std::exchange(wantsLook, false);
    if (std::exchange(wantsNew, false)) {
      const std::optional<Pairing> former = std::exchange(news.pairing, std::nullopt);
      news.isNew = false;
      const Pairing fresh = Pairing::generate();
      co_await put(fresh, former);
    } else {
      co_await look(isAsked);
    }
    report();
    co_await announceRetired();
    const std::function<bool()> isWanted = [this] { return wantsNew || wantsLook; };
    co_await firstOf(clock->sleepFor(pause()), changed.until(isWanted));
  }
}

asio::awaitable<void> PairingKeeper::announceRetired() {
  if (!hasLock || !std::exchange(mayHaveRetired, false)) {
    co_return;
  }
  const std::function<std::vector<RetiredPairing>()> question = [store = store] {
    return store->retired();
  };
  const auto retired = co_await work.run(storeLimit, question);
  if (!retired) {
    mayHaveRetired = true;
    co_return;
  }
  for (const RetiredPairing& one : *retired) {
    // Nothing may shut out the phones of the present one.
    const bool isPast = !news.pairing || news.pairing->macId() != one.macId();
    if (isPast && announced.insert(one.macId()).second) {
      onRetired(one, [weak = weak_from_this(), one] {
        if (const auto self = weak.lock()) {
          self->wasTold(one);
        }
      });
    }
  }
}

asio::awaitable<void> PairingKeeper::forget(RetiredPairing retired) {
  const std::function<bool()> step = [store = store, retired] {
    store->forget(retired);
    return true;
  };
  co_await work.run(storeLimit, step);
}

/// Until the next look, or the next glance at the mark.
Clock::Duration PairingKeeper::pause() {
  const Clock::Duration untilLook = nextLook ? *nextLook - clock->now() : Clock::Duration(forEver);
  return std::max(Clock::Duration(0),
                  news.pairing ? std::min(untilLook, Clock::Duration(markInterval)) : untilLook);
}

void PairingKeeper::postpone(std::chrono::seconds longest) {
  delay = std::clamp(2 * delay, std::chrono::seconds(1), longest);
  nextLook = clock->now() + delay;
}

asio::awaitable<void> PairingKeeper::look(bool isAsked) {
  if (!hasLock) {
    news.otherProgram = lock->holder();
  }
  if (news.pairing && !news.isKept) {
    co_return co_await keep();
  }
  const bool isDue = isAsked || !nextLook || clock->now() >= *nextLook;
  const std::function<Seen()> question = [store = store, pairing = news.pairing, isDue] {
    const bool counts = pairing && store->counts(*pairing);
    return counts && !isDue ? Seen{std::nullopt, true} : Seen{store->load(), counts};
  };
  auto seen = co_await work.run(storeLimit, question);
  if (wantsNew) {
    co_return;
  }
  if (!seen) {
    seen = Seen{PairingStore::NotReadable{false}, news.pairing.has_value()};
  }
  if (!seen->answer) {
    co_return;
  }
  mayHaveRetired = true;
  if (!seen->counts) {
    news.pairing.reset();
  }
  const PairingStore::Answer answer = *seen->answer;
  co_await take(answer);
}

asio::awaitable<void> PairingKeeper::take(PairingStore::Answer answer) {
  if (const auto* found = std::get_if<PairingStore::Found>(&answer)) {
    if (!news.pairing) {
      delay = 0s;
    }
    news.pairing = found->pairing;
    news.waitsFor = PairingNews::WaitsFor::nothing;
    postpone(longestMove);
    if (found->isSettled) {
      nextLook = Instant::max();
    }
  } else if (const auto* locked = std::get_if<PairingStore::NotReadable>(&answer)) {
    // One that is known and counts goes on: its keyring has been locked meanwhile.
    postpone(news.pairing ? longestMove : longestWait);
    if (!news.pairing) {
      news.waitsFor = PairingNews::WaitsFor::keyring;
      if (locked->isLocked && !std::exchange(hasAsked, true)) {
        unlock();
      }
    }
  } else if (news.pairing) {
    // Somebody has removed it from its place.
    co_await keep();
  } else if (hasLock) {
    news.isNew = true;
    news.isFirst = std::get<PairingStore::None>(answer).isFirst;
    const Pairing fresh = Pairing::generate();
    const std::optional<Pairing> none;
    co_await put(fresh, none);
  } else {
    // The program that is connected makes one.
    news.waitsFor = PairingNews::WaitsFor::otherProgram;
    postpone(longestWait);
  }
}

asio::awaitable<void> PairingKeeper::put(Pairing pairing, std::optional<Pairing> former) {
  const std::function<PairingStore::Replaced()> step = [store = store, pairing, former] {
    return store->replace(pairing, former);
  };
  const auto done = co_await work.run(storeLimit, step);
  mayHaveRetired = true;
  if (!wantsNew) {
    take(pairing, done);
  }
}

/// Puts the pairing that is known into its place, unless another counts by now.
asio::awaitable<void> PairingKeeper::keep() {
  using Kept = std::optional<PairingStore::Replaced>;
  const std::function<Kept()> step = [store = store, pairing = *news.pairing, former = formerMark] {
    return store->keep(pairing, former);
  };
  const auto done = co_await work.run(storeLimit, step);
  mayHaveRetired = true;
  if (wantsNew || !done) {
    co_return;
  }
  if (*done) {
    take(*news.pairing, *done);
  } else {
    news.pairing.reset();
    news.isKept = true;
    news.isLasting = true;
    wantsLook = true;
  }
}

void PairingKeeper::take(const Pairing& pairing,
                         const std::optional<PairingStore::Replaced>& done) {
  news.pairing = pairing;
  news.waitsFor = PairingNews::WaitsFor::nothing;
  news.isKept = done && done->isKept;
  news.isLasting = done && done->isLasting;
  if (done) {
    formerMark = done->mark;
  }
  if (news.isKept) {
    delay = 0s;
  }
  postpone(longestMove);
}

asio::awaitable<void> PairingKeeper::askUser() {
  const std::function<bool()> question = [store = store] { return store->unlock(); };
  co_await asking.run(askLimit, question);
  news.isAsking = false;
  wantsLook = true;
  delay = 0s;
  changed.notify();
}

asio::awaitable<void> PairingKeeper::awaitLock() {
  const std::function<bool()> question = [lock = lock] {
    lock->take();
    return true;
  };
  for (;;) {
    const auto isTaken = co_await lockWaiting.run(forEver, question);
    if (isTaken) {
      break;
    }
    co_await clock->sleepFor(longestWait);
  }
  hasLock = true;
  wantsLook = true;
  changed.notify();
}

void PairingKeeper::report() {
  if (wantsNew) {
    return;  // what is known is about to be replaced
  }
  PairingNews present = news;
  if (present.waitsFor == PairingNews::WaitsFor::nothing && !hasLock) {
    present.waitsFor = PairingNews::WaitsFor::otherProgram;
  }
  if (present.waitsFor != PairingNews::WaitsFor::otherProgram) {
    present.otherProgram.clear();
  }
  if (reported != present) {
    reported = present;
    onChange(present);
  }
}

}  // namespace orvik
