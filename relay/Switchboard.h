#pragma once

#include <boost/container/flat_map.hpp>
#include <boost/container/flat_set.hpp>

#include <algorithm>
#include <functional>
#include <map>
#include <memory>
#include <set>
#include <utility>
#include <vector>

#include "relay/ClientMessage.h"
#include "relay/Limits.h"
#include "relay/Peer.h"
#include "relay/RateLimit.h"
#include "relay/RecordStore.h"
#include "relay/Target.h"
#include "relay/TokenHash.h"
#include "relay/cluster/Neighbours.h"
#include "relay/cluster/RelayMessage.h"
#include "relay/push/Pusher.h"

namespace orvik::relay {

/// Who owns which identifier, who is connected to it, and who is told what. The first Mac to
/// present a token for an identifier owns it for as long as the store remembers it. The store is
/// asked when the first client of an identifier arrives, who waits for the answer; what has been
/// learned is forgotten when the last one has left. Alerts are numbered, kept and told to phones
/// that come later; everything else that a Mac sends while no phone is connected is lost.
///
/// With neighbours, an identifier's clients may be spread over relays that share a store. The relay
/// with the Mac numbers, keeps and pushes alerts; the others say what phones they have. What is
/// said between relays may be lost, and of owners and subscriptions nothing is believed but what
/// the store has.
///
/// Used by one thread. Peers are not owned; each is in here from its arrival until it is closed
/// from here or has left.
class Switchboard final : public NeighbourListener {
 public:
  /// Has a function called on the switchboard's thread, later; called on any thread.
  using Post = std::function<void(std::function<void()>)>;

  /// `store` lives longer than any call of the switchboard, and answers none after its own end.
  Switchboard(const Limits& limits, RecordStore& store, Post post,
              std::function<std::int64_t()> unixNow);
  Switchboard(const Switchboard&) = delete;
  Switchboard& operator=(const Switchboard&) = delete;

  /// Pushes alerts by this from now on; it lives longer than any call of the switchboard.
  void pushBy(Pusher& by) { pusher = &by; }

  /// Serves identifiers together with others from now on, before the first client has come. They
  /// live longer than any call of the switchboard.
  void joinNeighbours(Neighbours& others, std::function<Instant()> time);
  void heard(const Identifier& identifier, RelayID from, std::string_view message) override;
  void gone(RelayID relay) override;
  void missed(RelayID relay) override;
  void cutOff() override;
  void back() override;

  /// Puts a Mac in its place, and a Mac that was there out of it; lets in the phones that waited
  /// for it. Until it is known whether the Mac may have the place, it waits, with what it says.
  /// False when it has been closed instead.
  [[nodiscard]] bool macArrived(const Identifier& identifier, const TokenHash& token, Peer& mac,
                                Instant now);
  /// Accepts a phone, or lets it wait when its Mac is not known yet. `last` is the number of the
  /// last alert that it has, of a phone that counts. False when it has been closed instead.
  [[nodiscard]] bool phoneArrived(const Identifier& identifier, const TokenHash& token,
                                  std::optional<std::uint64_t> last, Peer& phone, Instant now);
  /// Sends a Mac's message to all its phones; ignored from a Mac that has been replaced. One that
  /// revokes its pairing has everybody of the identifier closed, now and later: its phones at once,
  /// itself when the store has it so, or cannot have it so now: then it is tried again.
  void forward(const Identifier& identifier, Peer& mac, const SharedText& message);
  /// A phone says where it wants alerts pushed to while it is not looked at, or that it does not
  /// any more. Ignored from one that is not accepted, and where nothing is pushed.
  void subscribe(const Identifier& identifier, const Peer& phone, const Subscribe& said);
  void unsubscribe(const Identifier& identifier, const Peer& phone, const std::string& endpoint);
  /// A push service does not know the subscription any more.
  void endpointGone(const Identifier& identifier, const std::string& endpoint);
  /// A phone is being closed for its silence, or has gone without a word, and was last heard so
  /// long ago. If it was being looked at, the alerts of this time are pushed to it: nobody may have
  /// seen them.
  void silent(const Identifier& identifier, const Peer& phone, Clock::Duration unheard);
  /// A phone is being looked at, or not any more.
  void setActive(const Identifier& identifier, const Peer& phone, bool active);
  /// A peer is gone. Harmless when it is not in here.
  void left(const Identifier& identifier, const Peer& peer);
  /// Sends away those that have waited too long, tries again to keep what could not be, and tells
  /// the store from time to time whom it still needs.
  void expire(Instant now);

 private:
  struct Phone {
    Peer* peer;
    bool active;
    /// It knows alerts by their numbers.
    bool counts;
    /// Of its subscription, once it has said it.
    std::string endpoint{};
    /// The last alert before it was known to look, which has been pushed to it.
    std::uint64_t pushed = 0;
  };
  struct Mac {
    Peer* peer = nullptr;
    /// Alerts that have come over this connection, and how many of them it has been told are safe.
    std::uint64_t arrived = 0;
    std::uint64_t safe = 0;
    /// The first of them that newer ones have pushed out although it was not safe; 0 for none.
    std::uint64_t missing = 0;
    /// What it has said of the alert that it sends next.
    std::unique_ptr<const AlertMark> next{};
  };
  struct Alert {
    /// heard: another relay has it kept, or has not.
    enum class Fate { asked, unsafe, safe, heard };
    KeptAlert kept;
    Fate fate;
    /// Its place among those of the Mac's present connection, from 1; 0 when it came over another.
    std::uint64_t ordinal;
    AlertMark mark{};
    /// The relay that had its Mac, and pushes it; 0 when nobody has said so.
    RelayID by = 0;
    /// Another relay may have pushed it, as will be heard soon.
    bool isPushHeld = false;
  };
  /// A client that cannot be answered yet.
  struct Waiting {
    Target::Role role;
    Peer* peer;
    TokenHash token;
    Instant until;
    std::optional<std::uint64_t> last{};
    bool active = false;
    std::vector<SharedText> messages{};
    std::size_t bytes = 0;
  };
  /// Phones by `endpointKey`, each with the last alert that it has.
  using LastAlerts = boost::container::flat_map<std::string, std::uint64_t>;
  /// What another relay has said of whom it serves.
  struct Neighbour {
    RelayID relay;
    std::optional<Standing::Mac> mac{};
    std::uint32_t phones = 0;
    std::uint32_t active = 0;
    /// The highest number of an alert that it has heard of.
    std::uint64_t last = 0;
    /// Of the phones that are looking there the last alert before they were, which has been pushed
    /// to them, or that they have been sent.
    LastAlerts pushed{};

    /// Gives those who were looking there and are not any more.
    LastAlerts take(const Standing& said, std::uint64_t lastNumber);
  };
  /// What is known of an identifier's clients at other relays, and told there of those here.
  struct Elsewhere {
    /// Those that serve somebody.
    std::vector<Neighbour> relays{};
    /// Phones of all of them.
    std::uint32_t phones = 0;
    std::uint32_t active = 0;
    /// Of the Mac here, and the highest heard of.
    std::uint64_t epoch = 0;
    std::uint64_t highestEpoch = 0;
    /// When the Mac here came.
    Instant since{};
    /// Until when it may repeat alerts that another relay has pushed.
    Instant repeatsUntil{};
    /// The others know of somebody here.
    bool isTold = false;
    /// The store has been asked for the record again, and has to be asked once more.
    bool isReading = false;
    bool readsAgain = false;
    /// How often alerts that have been missed were asked for.
    int askings = 0;

    /// Above all that has been heard of, or as high as others take it.
    void rise() { epoch = highestEpoch = std::min(highestEpoch + 1, Standing::Mac::highestEpoch); }
  };
  /// asked: the store has been asked for the record. unknown: it has none, and phones are held.
  /// claiming: a Mac's claim is being committed. known: the record is here.
  enum class Knowledge { asked, unknown, claiming, known };
  /// Small, as there is one for each identifier on each relay that serves it: what is rarely there
  /// stands elsewhere.
  struct Place {
    std::uint64_t incarnation;
    Knowledge knowledge = Knowledge::asked;
    /// Once it is known. Its alerts stand below.
    std::optional<Record> record{};
    std::vector<Alert> alerts{};
    Mac mac{};
    std::vector<Phone> phones{};
    /// Endpoints of subscriptions that the store has not answered for, as often as it was asked.
    boost::container::flat_multiset<std::string> subscribing{};
    std::vector<Waiting> waiting{};
    /// The owner that it had, until the store knows that it has none any more.
    std::unique_ptr<const TokenHash> revoked{};
    /// Null without neighbours.
    std::unique_ptr<Elsewhere> elsewhere{};
  };
  using Places = std::map<Identifier, Place>;
  using Entry = Places::value_type;
  /// Through all places, some of them at a time.
  struct Walk {
    bool isUnderWay = false;
    std::optional<Identifier> upTo{};
  };

  /// The place, which the store is asked about when it is new.
  Entry& enter(const Identifier& identifier);
  [[nodiscard]] bool wait(Entry& entry, Waiting client);
  /// For the first Mac that waits and may.
  void claim(Entry& entry);
  void found(Entry& entry, Found answer);
  void claimed(Entry& entry, Claimed answer);
  void learn(Entry& entry, Record record);
  /// Lets in those who have waited, once the record is known.
  void admit(Entry& entry, const std::vector<Waiting>& waiting);
  [[nodiscard]] std::vector<Waiting> takeWaiting(Entry& entry);
  void hold(Entry& entry);
  template <typename Condition>
  void removeWaiting(Entry& entry, Condition condition);
  void removeIfEmpty(Entry& entry);

  [[nodiscard]] bool take(Entry& entry, Peer& mac, const TokenHash& token, Instant arrived);
  [[nodiscard]] bool take(Entry& entry, const Phone& phone, const TokenHash& token,
                          std::optional<std::uint64_t> last);
  [[nodiscard]] static bool hasMac(const Place& place);
  [[nodiscard]] static bool hasPhones(const Place& place);
  /// Tells the Mac, wherever it is, what phones there are.
  void tellMac(const Entry& entry);
  static void tellViewers(const Place& place);
  static void tellPhones(const Place& place);
  void forward(Entry& entry, const SharedText& message);
  void tellAlerts(Entry& entry, const Phone& phone, std::optional<std::uint64_t> last);
  void takeAlert(Entry& entry, const SharedText& message);
  /// To all subscriptions whose phones are not looking.
  void push(Entry& entry, const Alert& alert);
  void pushHeld(Entry& entry);
  void push(const Entry& entry, const Alert& alert, const std::vector<Subscription>& to);
  /// To a subscription whose phone was looking and may have seen none of the last alerts, as long
  /// ago as `unheard`, from behind the number `after` on.
  void pushUnseen(const Entry& entry, const Subscription& subscription, Clock::Duration unheard,
                  std::uint64_t after);
  [[nodiscard]] static bool isLooking(const Place& place, const Subscription& subscription);
  void forget(Entry& entry, const std::string& endpoint);
  /// Makes room for another subscription where there is one that is hardly used.
  [[nodiscard]] bool makeRoom(Entry& entry);
  void keepSubscription(Entry& entry, Phone& phone, Subscription subscription);
  static void restore(Entry& entry, const std::string& endpoint,
                      const std::optional<Subscription>& before);
  static void subscriptionKept(const Entry& entry, const std::string& endpoint, bool isKept);
  void markTaken(Entry& entry);
  void revoke(Entry& entry);
  void askToRevoke(Entry& entry);
  void revoked(Entry& entry, bool isDone);
  void keep(Entry& entry, Alert& alert);
  void kept(Entry& entry, std::uint64_t number, bool isSafe);
  void tellSafe(Place& place);
  void forgetOldAlerts(Place& place) const;

  [[nodiscard]] static const Neighbour* macElsewhere(const Place& place);
  void tell(const Entry& entry, const RelayMessage& message) const;
  void tellAlert(const Entry& entry, const Alert& alert, std::uint64_t after) const;
  void tellStanding(const Entry& entry, bool asks);
  /// Calls `call` with the next places of a walk, which it leaves where they are.
  template <typename Call>
  void walk(Walk& over, std::size_t most, Call call);
  [[nodiscard]] Standing standing(const Place& place) const;
  void heard(Entry& entry, RelayID from, const Standing& said);
  void heard(Entry& entry, RelayID from, const ToldEnvelope& said);
  void heard(Entry& entry, RelayID from, const ToldAlert& said);
  void heard(Entry& entry, RelayID from, const AlertsMissed& said);
  void heard(Entry& entry, RelayID from, const RecordChanged& said);
  void skipNumbers(Place& place) const;
  void askForAlerts(const Entry& entry) const;
  void contest(Entry& entry, RelayID from, const Standing::Mac& other);
  /// Calls `change`, which changes what is known of others, and tells those here what it comes to.
  template <typename Change>
  static void changeElsewhere(Entry& entry, Change change);
  void pushUnseen(const Entry& entry, const LastAlerts& pushed);
  [[nodiscard]] static bool isLookingElsewhere(const Place& place,
                                               const Subscription& subscription);
  void catchUp(Entry& entry);
  void takeElsewhere(Entry& entry, Alert alert);
  [[nodiscard]] bool mayBeGiven(std::uint64_t number) const;
  void reread(Entry& entry);
  void reread(Entry& entry, Found answer);
  /// Takes what another relay has done to the record.
  void merge(Entry& entry, Record record);
  void changeOwner(Entry& entry, Record record);
  void leaveNeighbours(const Entry& entry);
  void sayAgain();
  void expireElsewhere(Instant now);

  /// Calls `then` with an answer of the store, on this thread, if the place is still the same.
  template <typename Answer, typename Then>
  std::function<void(Answer)> answering(const Entry& entry, Then then);

  const Limits& limits;
  RecordStore& store;
  /// Null where nothing is pushed.
  Pusher* pusher = nullptr;
  /// Null where this relay is alone.
  Neighbours* neighbours = nullptr;
  std::function<Instant()> time;
  const Post post;
  const std::function<std::int64_t()> unixNow;
  Places places;
  std::uint64_t incarnations = 0;
  /// The last that has been given to an alert of any Mac: none is given twice, whatever the store
  /// has kept of it.
  std::uint64_t lastNumber = 0;
  /// Where somebody waits, and where the store has to be asked again.
  std::set<Identifier> waitingPlaces;
  std::set<Identifier> unsafePlaces;
  /// Where alerts are known to be missed, and whose records are read again, from when on.
  std::set<Identifier> missingPlaces;
  std::map<Identifier, Instant> rereads;
  /// Where the pushing of alerts is held, and until when.
  std::map<Identifier, Instant> heldPushes;
  /// The last of them that was, behind which it goes on.
  Identifier rereadUpTo{};
  /// Everything is being said again, and is to be once more; all places are being noted as used.
  Walk saying;
  bool saysAgain = false;
  Walk noting;
  /// Of those whose alerts have been pushed, until they may have as many pushed as at first:
  /// leaving and coming back gains nothing.
  std::map<Identifier, RateLimit> pushRates;
  /// When the deadlines were looked at last.
  Instant lookedAt;
  Instant nextKeeping;
  Instant nextUse;
  /// Phones that are held.
  std::size_t heldCount = 0;
  std::size_t revocations = 0;
  /// Answers that come after the switchboard's end find this gone.
  const std::shared_ptr<const bool> isAlive = std::make_shared<const bool>(true);
};

template <typename Call>
void Switchboard::walk(Walk& over, std::size_t most, Call call) {
  auto next = over.upTo ? places.upper_bound(*over.upTo) : places.begin();
  for (; most > 0 && next != places.end(); --most, ++next) {
    call(*next);
    over.upTo = next->first;
  }
  over.isUnderWay = next != places.end();
}

template <typename Answer, typename Then>
std::function<void(Answer)> Switchboard::answering(const Entry& entry, Then then) {
  // On the store's thread nothing of the switchboard is touched: all that is needed is copied.
  return [post = post, alive = std::weak_ptr(isAlive), this, identifier = entry.first,
          incarnation = entry.second.incarnation, then](Answer answer) {
    post([alive, this, identifier, incarnation, then, answer = std::move(answer)]() mutable {
      if (alive.expired()) {
        return;
      }
      const auto place = places.find(identifier);
      if (place != places.end() && place->second.incarnation == incarnation) {
        then(*this, *place, std::move(answer));
      }
    });
  };
}

}  // namespace orvik::relay
