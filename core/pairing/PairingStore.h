#pragma once

#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "core/pairing/Pairing.h"
#include "core/pairing/RetiredPairing.h"
#include "core/system/AccountLock.h"
#include "core/system/SecretStore.h"
#include "core/system/UserDefaults.h"

namespace orvik {

/// Keeps the one pairing of this computer among the user's secrets, so that a phone stays paired
/// across restarts: in the best place that takes it, and in a better one as soon as there is one.
///
/// Beside it, in the preferences, stands a mark of the pairing that counts: the SHA-256 of its
/// identifier, and the place where it was put. Whatever else is found in any place, now or when a
/// keyring comes back, has been replaced and never counts again. Without a mark, what is found
/// counts. What has been replaced is remembered there too, without its secret, until a relay knows.
///
/// Calls may block for some seconds. Not to be used concurrently, except for `unlock`; several
/// programs may share what is kept.
class PairingStore {
 public:
  /// Best first.
  using Places = std::vector<std::shared_ptr<SecretStore>>;

  /// The pairing that counts.
  struct Found {
    Pairing pairing;
    /// It lies in the best place, and in no other.
    bool isSettled;
  };
  /// There is none.
  struct None {
    /// There never was one, as far as anybody can know.
    bool isFirst;
  };
  /// There may be one, but nobody can say now.
  struct NotReadable {
    /// `unlock` would help.
    bool isLocked;
  };
  using Answer = std::variant<Found, None, NotReadable>;

  /// What came of replacing the pairing.
  struct Replaced {
    /// No earlier pairing comes back, whenever this or another program starts.
    bool isLasting;
    /// The new one will be found again.
    bool isKept;
    /// The mark that stands there now.
    std::optional<std::string> mark = {};
  };

  /// `mark` is a domain that nobody else writes to. The file is locked while something is looked
  /// for or replaced, so that programs do so one after the other; none for a program that is alone.
  PairingStore(Places places, std::shared_ptr<UserDefaults> mark,
               std::filesystem::path lockFile = {});

  /// This user's, on this system.
  [[nodiscard]] static std::shared_ptr<PairingStore> ofThisUser();

  /// Looks into all places. Moves what it finds to the best place that takes it, and removes what
  /// does not count.
  [[nodiscard]] Answer load();

  /// Has a new pairing count and no other. Returns when that is on the disk, as far as it can be.
  /// `former` is the one that the caller has used, which no place may show now.
  [[nodiscard]] Replaced replace(const Pairing& fresh,
                                 const std::optional<Pairing>& former = std::nullopt);

  /// Puts a pairing, which is not kept yet or not any more, into its place. Nothing when another
  /// counts by now: the mark is neither this pairing's nor what it was.
  [[nodiscard]] std::optional<Replaced> keep(const Pairing& pairing,
                                             const std::optional<std::string>& formerMark);

  /// Whether this pairing still counts, as far as the mark says: quick.
  [[nodiscard]] bool counts(const Pairing& pairing) const;

  /// What has been replaced and not been forgotten since, oldest first.
  [[nodiscard]] std::vector<RetiredPairing> retired() const;
  /// A relay knows by now.
  void forget(const RetiredPairing& known);

  /// Has the system ask the user to unlock a place; up to a minute. Whether one has been unlocked.
  bool unlock();

 private:
  struct Mark;
  struct Look;

  /// Waits until no other program is in here. False when that takes too long.
  [[nodiscard]] static bool awaitTurn(AccountLock& lock);
  [[nodiscard]] Replaced replaceNow(const Pairing& fresh, const std::optional<Pairing>& former);
  [[nodiscard]] std::optional<Mark> readMark() const;
  bool writeMark(const Pairing& pairing, const std::string& place);
  [[nodiscard]] static Look lookInto(SecretStore& place);
  [[nodiscard]] std::vector<Look> lookIntoAll() const;
  bool settle(const Pairing& pairing, const std::vector<Look>& looks, std::size_t at);
  void retireOthers(const Pairing& counting, const std::vector<Look>& looks);
  void writeRetired(std::span<const RetiredPairing> retired);

  const Places places;
  const std::shared_ptr<UserDefaults> marks;
  const std::filesystem::path lockFile;
};

}  // namespace orvik
