#pragma once

#include <boost/asio/any_io_executor.hpp>
#include <boost/asio/awaitable.hpp>

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <set>
#include <string>

#include "core/async/BlockingWork.h"
#include "core/async/Notifier.h"
#include "core/pairing/PairingStore.h"
#include "core/system/AccountLock.h"

namespace orvik {

/// How things stand with the pairing of this computer.
struct PairingNews {
  enum class WaitsFor {
    /// The pairing is there to connect with.
    nothing,
    /// It cannot be read now; as soon as it can, it is.
    keyring,
    /// Another program of this account is connected with it, and only one may be.
    otherProgram,
  };

  WaitsFor waitsFor = WaitsFor::nothing;
  /// Who is connected, where that is known: one line.
  std::string otherProgram = {};
  /// The pairing that counts, as soon as it is known. Also while another program is connected.
  std::optional<Pairing> pairing = {};
  /// There was none, and this one has been made.
  bool isNew = false;
  /// Nor was there ever one.
  bool isFirst = false;
  /// The pairing will be found again.
  bool isKept = true;
  /// What was there before the last replacement does not come back.
  bool isLasting = true;
  /// The user is being asked to unlock the keyring.
  bool isAsking = false;
  /// How many calls of `replace` this follows: what follows fewer than were made is out of date.
  std::uint64_t replacements = 0;

  bool operator==(const PairingNews&) const = default;
};

/// Finds the pairing or makes one, and looks after it for as long as a program runs: what cannot be
/// read is tried again, what lies in a file moves to the keyring, and what another program replaces
/// is replaced here too. Nothing of that blocks its executor, which runs one handler at a time.
/// What is public may be called from any thread.
class PairingKeeper : public std::enable_shared_from_this<PairingKeeper> {
 public:
  /// Told of every change, on the executor.
  using Report = std::function<void(const PairingNews&)>;

  /// Is to tell the relay of a pairing that was replaced: called once for each in a run, on the
  /// executor, and only while no other program is connected. `told` may be called from any thread:
  /// the relay knows.
  using Retire = std::function<void(const RetiredPairing& retired, std::function<void()> told)>;

  PairingKeeper(asio::any_io_executor executor, std::shared_ptr<Clock> clock,
                std::shared_ptr<PairingStore> store, std::shared_ptr<AccountLock> lock,
                Report report, Retire retire);

  /// Begins. The user is asked once to unlock a keyring that is locked. Owned by a
  /// std::shared_ptr: what it has begun keeps it alive until the executor's context ends.
  void start();
  /// Makes a new pairing in place of whatever is there. It is in the news when no restart brings
  /// the old one back, or nothing can be done about that. Before `start`, its first step.
  void replace();
  /// Asks the user to unlock the keyring, unless that is under way.
  void unlock();

 private:
  struct Seen;

  asio::awaitable<void> run();
  asio::awaitable<void> look(bool isAsked);
  asio::awaitable<void> take(PairingStore::Answer answer);
  void take(const Pairing& pairing, const std::optional<PairingStore::Replaced>& done);
  asio::awaitable<void> put(Pairing pairing, std::optional<Pairing> former);
  asio::awaitable<void> keep();
  asio::awaitable<void> askUser();
  asio::awaitable<void> awaitLock();
  asio::awaitable<void> announceRetired();
  void wasTold(const RetiredPairing& retired);
  asio::awaitable<void> forget(RetiredPairing retired);
  [[nodiscard]] Clock::Duration pause();
  void postpone(std::chrono::seconds longest);
  void report();

  const asio::any_io_executor executor;
  const std::shared_ptr<Clock> clock;
  const std::shared_ptr<PairingStore> store;
  const std::shared_ptr<AccountLock> lock;
  const Report onChange;
  const Retire onRetired;
  BlockingWork work;
  /// The user may take a minute to answer, the other program for ever to end.
  BlockingWork asking;
  BlockingWork lockWaiting;

  PairingNews news;
  /// The mark after the last attempt to put the pairing into its place.
  std::optional<std::string> formerMark;
  std::optional<PairingNews> reported;
  /// Those that somebody has been told of.
  std::set<RetiredPairing::Identifier> announced;
  /// There may be more of them.
  bool mayHaveRetired = false;
  bool wantsNew = false;
  bool wantsLook = false;
  bool hasLock = false;
  bool hasAsked = false;
  /// When the places are looked into again, and how long that was put off.
  std::optional<Instant> nextLook;
  std::chrono::seconds delay{0};
  Notifier changed;
};

}  // namespace orvik
