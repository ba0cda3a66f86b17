#include "core/pairing/PairingStore.h"

#include <openssl/evp.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <thread>
#include <utility>

#include "core/BuildConstants.h"
#include "core/values/Text.h"

namespace orvik {

namespace {

constexpr std::size_t storedSize = Pairing::macIdSize + Pairing::secretSize;
constexpr const char* markKey = "pairing";
constexpr const char* retiredKey = "retired";
/// Whoever replaces more of them without ever reaching a relay leaves the oldest phones offline.
constexpr std::size_t mostRetired = 8;
/// A keyring that is silent takes a program some 12 s.
constexpr std::chrono::seconds longestTurn{20};
constexpr std::chrono::milliseconds betweenAttempts{20};

SecretStore::Key itemKey() { return {.service = build::applicationId, .account = "pairing"}; }

/// Throws SecretStore::Unreadable. What has another length is no pairing.
std::optional<Pairing> pairingIn(SecretStore& place) {
  auto found = place.find(itemKey());
  if (!found) {
    return std::nullopt;
  }
  const WipedBytes stored(*std::move(found));
  const ByteView bytes = stored.bytes;
  if (bytes.size() != storedSize) {
    return std::nullopt;
  }
  return Pairing(bytes.first<Pairing::macIdSize>(), bytes.last<Pairing::secretSize>());
}

/// Replaced, never changed in place. Whether it can be read back.
bool put(SecretStore& place, const Pairing& pairing) {
  WipedBytes stored{Bytes(storedSize)};
  const auto rest = std::ranges::copy(pairing.macId(), stored.bytes.begin()).out;
  std::ranges::copy(pairing.secret().data(), rest);
  // Whether there was one to remove does not matter.
  place.remove(itemKey());
  try {
    return place.add(itemKey(), "Orvik pairing", stored.bytes) && pairingIn(place) == pairing;
  } catch (const SecretStore::Unreadable&) {
    return false;
  }
}

/// Not the identifier itself, which a relay knows a computer by.
std::string fingerprint(const Pairing& pairing) {
  std::array<std::uint8_t, 32> digest{};
  const ByteView id = pairing.macId();
  EVP_Digest(id.data(), id.size(), digest.data(), nullptr, EVP_sha256(), nullptr);
  std::string text;
  for (const std::uint8_t byte : digest) {
    appendHex(byte, text);
  }
  return text;
}

}  // namespace

/// "FINGERPRINT PLACE"; the place is empty until the pairing has been put into one.
struct PairingStore::Mark {
  std::string fingerprint;
  std::string place;
};

/// What was seen in one place.
struct PairingStore::Look {
  enum class State { readable, absent, unreadable, locked };
  State state = State::readable;
  std::optional<Pairing> pairing = {};

  [[nodiscard]] bool isUnclear() const {
    return state == State::unreadable || state == State::locked;
  }
};

PairingStore::PairingStore(Places places, std::shared_ptr<UserDefaults> mark,
                           std::filesystem::path lockFile)
    : places(std::move(places)), marks(std::move(mark)), lockFile(std::move(lockFile)) {}

bool PairingStore::awaitTurn(AccountLock& lock) {
  const auto end = std::chrono::steady_clock::now() + longestTurn;
  while (!lock.tryTake()) {
    if (std::chrono::steady_clock::now() >= end) {
      return false;
    }
    std::this_thread::sleep_for(betweenAttempts);
  }
  return true;
}

std::shared_ptr<PairingStore> PairingStore::ofThisUser() {
  const std::filesystem::path folder = accountFolder();
  return std::make_shared<PairingStore>(
      openSecretStores(), openUserDefaults(std::string(build::applicationId) + ".pairing"),
      folder.empty() ? folder : folder / (std::string(build::applicationId) + ".pairing.lock"));
}

std::optional<PairingStore::Mark> PairingStore::readMark() const {
  const auto text = marks->data(markKey);
  if (!text) {
    return std::nullopt;
  }
  const std::size_t blank = std::min(text->find(' '), text->size());
  return Mark{text->substr(0, blank), text->substr(std::min(blank + 1, text->size()))};
}

bool PairingStore::writeMark(const Pairing& pairing, const std::string& place) {
  return marks->set(markKey, fingerprint(pairing) + ' ' + place);
}

PairingStore::Look PairingStore::lookInto(SecretStore& place) {
  try {
    return {.pairing = pairingIn(place)};
  } catch (const SecretStore::Locked&) {
    return {.state = Look::State::locked};
  } catch (const SecretStore::Absent&) {
    return {.state = Look::State::absent};
  } catch (const SecretStore::Unreadable&) {
    return {.state = Look::State::unreadable};
  }
}

std::vector<PairingStore::Look> PairingStore::lookIntoAll() const {
  std::vector<Look> looks;
  std::ranges::transform(places, std::back_inserter(looks),
                         [](const auto& place) { return lookInto(*place); });
  return looks;
}

PairingStore::Answer PairingStore::load() {
  AccountLock turn(lockFile, "pairing");
  if (!awaitTurn(turn) || !marks->isReadable()) {
    return NotReadable{false};
  }
  const auto mark = readMark();
  const std::vector<Look> looks = lookIntoAll();
  const bool isUnclear = std::ranges::any_of(looks, &Look::isUnclear);
  const auto at = std::ranges::find_if(looks, [&](const Look& look) {
    // Without a mark the better place decides, which may be the one that cannot be read.
    return look.pairing && (mark ? mark->fingerprint == fingerprint(*look.pairing) : !isUnclear);
  });
  if (at != looks.end()) {
    const auto index = static_cast<std::size_t>(at - looks.begin());
    // Before anything is removed: a program may have ended between moving it and saying so.
    const std::string place = places[index]->name();
    const bool isMarked = (mark && mark->place == place) || writeMark(*at->pairing, place);
    retireOthers(*at->pairing, looks);
    return Found{*at->pairing, isMarked && settle(*at->pairing, looks, index)};
  }
  bool isAway = false;
  for (std::size_t i = 0; mark && i < places.size(); ++i) {
    // Without a place the program that wrote the mark ended before it could say which.
    isAway = isAway || (looks[i].state == Look::State::absent &&
                        (mark->place.empty() || places[i]->name() == mark->place));
  }
  if (isUnclear || isAway) {
    return NotReadable{std::ranges::any_of(
        looks, [](const Look& look) { return look.state == Look::State::locked; })};
  }
  // Where there is one place only, what it has not was never there.
  return None{!mark || places.size() == 1};
}

/// Whether the pairing, which was seen in the place of this number, is in the best place now, and
/// in no other.
bool PairingStore::settle(const Pairing& pairing, const std::vector<Look>& looks, std::size_t at) {
  for (std::size_t better = 0; better < at; ++better) {
    if (looks[better].state == Look::State::readable && put(*places[better], pairing)) {
      if (!writeMark(pairing, places[better]->name())) {
        // It would be missed where the mark says that it is.
        return false;
      }
      at = better;
    }
  }
  bool isAlone = true;
  for (std::size_t other = at + 1; other < places.size(); ++other) {
    // An absent place cannot be said to be empty, but none is expected there.
    isAlone = (!looks[other].pairing || places[other]->remove(itemKey())) &&
              !looks[other].isUnclear() && isAlone;
  }
  return at == 0 && isAlone;
}

PairingStore::Replaced PairingStore::replace(const Pairing& fresh,
                                             const std::optional<Pairing>& former) {
  AccountLock turn(lockFile, "pairing");
  // Whoever disconnects his phones is not put off by a program that hangs.
  static_cast<void>(awaitTurn(turn));
  return replaceNow(fresh, former);
}

std::optional<PairingStore::Replaced> PairingStore::keep(
    const Pairing& pairing, const std::optional<std::string>& formerMark) {
  AccountLock turn(lockFile, "pairing");
  if (!awaitTurn(turn) || !(counts(pairing) || marks->data(markKey) == formerMark)) {
    return std::nullopt;
  }
  return replaceNow(pairing, std::nullopt);
}

PairingStore::Replaced PairingStore::replaceNow(const Pairing& fresh,
                                                const std::optional<Pairing>& former) {
  // First of all: whatever happens from here on, no other pairing counts.
  const bool isMarked = writeMark(fresh, "");
  const bool isUnmarked = !isMarked && marks->isReadable() && !readMark();
  std::vector<Look> looks = lookIntoAll();
  looks.push_back({.pairing = former});
  retireOthers(fresh, looks);
  const auto kept =
      std::ranges::find_if(places, [&](const auto& place) { return put(*place, fresh); });
  const bool isKept = kept != places.end() && (isMarked || isUnmarked);
  if (isKept && isMarked) {
    // Without it, only a place that is missing later would be missed less.
    static_cast<void>(writeMark(fresh, (*kept)->name()));
  }
  bool isGone = true;
  for (const auto& place : places) {
    if (kept == places.end() || place != *kept) {
      // What is left behind unread may come back, unless the mark says otherwise.
      isGone = place->remove(itemKey()) && isGone;
    }
  }
  return {.isLasting = isMarked || isGone, .isKept = isKept, .mark = marks->data(markKey)};
}

/// Before they are removed.
void PairingStore::retireOthers(const Pairing& counting, const std::vector<Look>& looks) {
  const std::vector<RetiredPairing> before = retired();
  std::vector<RetiredPairing> all = before;
  for (const Look& look : looks) {
    if (look.pairing && look.pairing != counting &&
        std::ranges::find(all, look.pairing->macId(), &RetiredPairing::macId) == all.end()) {
      all.emplace_back(*look.pairing);
    }
  }
  if (all != before) {
    writeRetired(std::span(all).last(std::min(all.size(), mostRetired)));
  }
}

void PairingStore::writeRetired(std::span<const RetiredPairing> retired) {
  std::string lines;
  lines.reserve(80 * mostRetired);
  for (const RetiredPairing& one : retired) {
    lines += one.text().text();
    lines += '\n';
  }
  const SecretText text(std::move(lines));
  // Where it cannot be stored the phones stay offline, and nothing else is amiss.
  static_cast<void>(marks->set(retiredKey, text.text()));
}

std::vector<RetiredPairing> PairingStore::retired() const {
  const SecretText stored(marks->data(retiredKey).value_or(""));
  std::vector<RetiredPairing> found;
  for (std::string_view rest = stored.text(); !rest.empty();) {
    const std::string_view line = rest.substr(0, rest.find('\n'));
    rest.remove_prefix(std::min(line.size() + 1, rest.size()));
    if (const auto one = RetiredPairing::from(line)) {
      found.push_back(*one);
    }
  }
  return found;
}

void PairingStore::forget(const RetiredPairing& known) {
  AccountLock turn(lockFile, "pairing");
  // Whoever does not get a turn tells the relay once more.
  if (awaitTurn(turn)) {
    std::vector<RetiredPairing> rest = retired();
    if (std::erase(rest, known) > 0) {
      writeRetired(rest);
    }
  }
}

bool PairingStore::counts(const Pairing& pairing) const {
  const auto mark = readMark();
  return !mark || mark->fingerprint == fingerprint(pairing);
}

bool PairingStore::unlock() {
  return std::ranges::any_of(places, [](const auto& place) { return place->unlock(itemKey()); });
}

}  // namespace orvik
