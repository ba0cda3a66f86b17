#include "relay/cluster/JetStreamStore.h"

#include <algorithm>
#include <charconv>
#include <limits>
#include <random>
#include <utility>

#include "core/values/Base64.h"
#include "core/values/JSONReader.h"
#include "core/values/JSONValue.h"

namespace orvik::relay {

namespace {

using namespace std::chrono_literals;

/// For the engine to answer, and how long a question may take: an engine that has lost a server
/// chooses another within ten seconds, and clients ask again.
constexpr auto requestTime = 2s;
constexpr auto questionTime = 5s;
/// Between two looks at the stream.
constexpr auto lookInterval = 1s;
/// After so many at once, another attempt waits for what others have under way.
constexpr int quickAttempts = 3;
/// Of those that the engine refuses at once.
constexpr int mostAttempts = 20;
constexpr auto day = 24h;
/// Above what has been given to alerts that have not been kept.
constexpr std::uint64_t numberGap = 100'000;
/// What has to fit for a full stream to be called able to grow.
constexpr std::size_t probeBytes = 65'536;
/// A place that no message has.
constexpr std::uint64_t impossiblePlace = std::numeric_limits<std::int64_t>::max();
/// A message that holds every record, and what of it goes to the headers.
constexpr std::size_t recordBytes = 262'144;
constexpr std::size_t headerBytes = 1024;
template <typename... Cases>
struct Overloaded : Cases... {
  using Cases::operator()...;
};
// Clang 16 finds it no other way.
template <typename... Cases>
Overloaded(Cases...) -> Overloaded<Cases...>;

std::string randomName() {
  std::random_device random;
  std::array<std::uint8_t, 16> bytes{};
  std::ranges::generate(bytes, [&random] { return static_cast<std::uint8_t>(random()); });
  return base64URL(bytes);
}

std::int64_t secondsOf(Clock::Duration duration) {
  return std::chrono::duration_cast<std::chrono::seconds>(duration).count();
}

template <typename Item, typename Key, typename Projection>
Item* itemWith(std::vector<Item>& items, const Key& key, Projection projection) {
  const auto place = std::ranges::find(items, key, projection);
  return place == items.end() ? nullptr : &*place;
}

/// Whether it was not there yet. A Mac that has not heard that an alert is safe says it again, to
/// another relay too, which gives it another number. Two relays that do not hear each other may
/// give one number to two alerts: the later gets another.
bool insert(Record& record, KeptAlert alert) {
  const bool isNew = std::ranges::none_of(record.alerts, [&alert](const KeptAlert& each) {
    return each.envelope->text() == alert.envelope->text();
  });
  if (isNew) {
    if (itemWith(record.alerts, alert.number, &KeptAlert::number) != nullptr) {
      alert.number = std::max(record.lastNumber, alert.number) + 1;
    }
    record.lastNumber = std::max(record.lastNumber, alert.number);
    const auto place =
        std::ranges::lower_bound(record.alerts, alert.number, {}, &KeptAlert::number);
    record.alerts.insert(place, std::move(alert));
  }
  return isNew;
}

void insert(Record& record, Subscription subscription, const Limits& limits) {
  std::vector<Subscription>& all = record.subscriptions;
  if (Subscription* const same = itemWith(all, subscription.endpoint, &Subscription::endpoint)) {
    *same = std::move(subscription);
    return;
  }
  if (all.size() >= limits.subscriptionsPerMac) {
    // Two relays have each taken one for the last place.
    all.erase(std::ranges::min_element(all, {}, &Subscription::usedAt));
  }
  all.push_back(std::move(subscription));
}

}  // namespace

JetStreamStore::JetStreamStore(Settings settings, const Limits& limits,
                               std::shared_ptr<Clock> clock, Log log)
    : settings(std::move(settings)),
      limits(limits),
      clock(std::move(clock)),
      log(std::move(log)),
      inbox(this->settings.name + ".answer." + randomName() + "."),
      nextLook(this->clock->now()) {
  told.health = Health::opening;
  told.mostQueued = limits.storeQueue;
  this->settings.connection.check();
  // Each question is one record at a time, and the engine's answers are not held up here.
  Receiver& receiver = *this;
  connection = std::make_unique<NATSConnection>(this->settings.connection,
                                                2 * limits.storeQueueBytes, receiver);
  connection->join(inbox + "*");
  connection->start();
}

JetStreamStore::~JetStreamStore() {
  {
    std::unique_lock guard(mutex);
    changed.wait_for(guard, requestTime, [this] { return works.empty() || !isOpen(); });
  }
  // It stays until nothing is told any more: what is told asks by it.
  connection->stop();
  {
    const std::lock_guard guard(mutex);
    told.health = Health::failing;
    failAll();
  }
  deliver();
}

void JetStreamStore::find(const Identifier& identifier, std::function<void(Found)> then) {
  if (!ask(identifier, Find{then})) {
    then(StoreUnavailable());
  }
}

void JetStreamStore::claim(const Identifier& identifier, const TokenHash& token,
                           std::function<void(Claimed)> then) {
  if (!ask(identifier, Claim{token, then})) {
    then(std::nullopt);
  }
}

void JetStreamStore::keep(const Identifier& identifier, const TokenHash& owner, KeptAlert alert,
                          std::function<void(bool isSafe)> then) {
  const std::size_t bytes = alert.envelope->size();
  if (!ask(identifier, Keep{owner, std::move(alert), then}, bytes)) {
    then(false);
  }
}

void JetStreamStore::revoke(const Identifier& identifier, const TokenHash& owner,
                            std::function<void(bool isRevoked)> then) {
  if (!ask(identifier, Revoke{owner, then})) {
    then(false);
  }
}

void JetStreamStore::markTaken(const Identifier& identifier, std::uint64_t number) {
  static_cast<void>(ask(identifier, Taken{number}));
}

void JetStreamStore::subscribe(const Identifier& identifier, const TokenHash& owner,
                               Subscription subscription, std::function<void(bool isKept)> then) {
  if (!ask(identifier, Subscribing{owner, std::move(subscription), then})) {
    then(false);
  }
}

void JetStreamStore::unsubscribe(const Identifier& identifier, const std::string& endpoint) {
  static_cast<void>(ask(identifier, Unsubscribing{endpoint}));
}

void JetStreamStore::copy(const Identifier& identifier, StoredRecord record,
                          const std::function<void(Copied)>& then) {
  if (!ask(identifier, Copying{std::move(record), then})) {
    then(Copied::failed);
  }
}

StoreState JetStreamStore::state() const {
  const std::lock_guard guard(mutex);
  StoreState state = told;
  state.queued = questions;
  return state;
}

bool JetStreamStore::ask(const Identifier& identifier, Asks asks, std::size_t bytes) {
  const std::lock_guard guard(mutex);
  if (questions >= limits.storeQueue || waitingBytes + bytes > limits.storeQueueBytes) {
    ++told.refused;
    return false;
  }
  if (!isOpen() && told.health != Health::opening) {
    return false;
  }
  ++questions;
  waitingBytes += bytes;
  const auto work = works.try_emplace(identifier).first;
  work->second.waiting.push_back({std::move(asks), clock->now(), bytes});
  if (isOpen() && work->second.underWay.empty()) {
    begin(work);
  }
  return true;
}

void JetStreamStore::begin(Works::iterator work) {
  work->second.underWay.swap(work->second.waiting);
  work->second.attempts = 0;
  read(work);
}

void JetStreamStore::read(Works::iterator work) {
  work->second.before.reset();
  work->second.wasRead = work->second.isUnusable = false;
  // The leader is asked: what has been kept a moment ago may not be anywhere else yet.
  const JSONValue what = JSONObject{{"last_by_subj", subjectOf(work->first)}};
  request(Request::Kind::read, work->first,
          {"$JS.API.STREAM.MSG.GET." + settings.name, what.text()});
}

void JetStreamStore::found(Works::iterator work, const UntypedValue& answer,
                           const StreamFailure& failure) {
  std::uint64_t place = 0;
  std::optional<StoredRecord> stored;
  if (failure.code == 0) {
    const UntypedValue& message = part(answer, "message");
    const auto* const data = message.get<std::string>("data");
    const auto bytes = data == nullptr ? std::nullopt : bytesFromBase64URL(*data);
    place = static_cast<std::uint64_t>(std::max<std::int64_t>(integer(message, "seq", 0), 0));
    stored = bytes ? StoredRecord::in(textOf(*bytes), limits) : std::nullopt;
    if (!stored || place == 0) {
      // A later version's, or a stranger's: nobody is to write over it.
      if (!std::exchange(wasUnreadableLogged, true)) {
        log("the cluster's store has a record that no relay of this version has written, and " +
            subjectOf(work->first) + " is refused until it is purged; more go without a line");
      }
      work->second.isUnusable = true;
      fail(work);
      return;
    }
    stored->record.trim(limits, unixNow());
    if (stored->usedAt <= unixNow() - secondsOf(limits.recordTime)) {
      stored.reset();
    }
  } else if (failure.code != StreamFailure::noMessage) {
    again(work, failure.words);
    return;
  }
  work->second.before = stored;
  work->second.wasRead = true;
  bool isChanged = false;
  bool isUsed = false;
  for (Question& question : work->second.underWay) {
    isUsed = isUsed || std::holds_alternative<Find>(question.asks);
    isChanged = apply(question, stored) || isChanged;
  }
  if (!isChanged && isUsed && stored && stored->usedAt <= unixNow() - secondsOf(day)) {
    // Nobody waits for this.
    settle(work->second);
    work->second.underWay.push_back({Use(), clock->now(), 0});
    ++questions;
    isChanged = true;
  }
  if (!isChanged) {
    finish(work);
    return;
  }
  stored->usedAt = unixNow();
  write(work, *stored, place);
}

void JetStreamStore::write(Works::iterator work, const StoredRecord& record, std::uint64_t after) {
  std::string text = record.text();
  if (text.size() + headerBytes > longest) {
    // It would never be answered, which is not to look like an engine that does not.
    work->second.isUnusable = true;
    fail(work);
    return;
  }
  request(Request::Kind::write, work->first,
          {.subject = subjectOf(work->first), .data = std::move(text), .after = after});
}

void JetStreamStore::written(Works::iterator work, const StreamFailure& failure) {
  if (failure.code == 0) {
    // A full stream may still take a small one: a probe says when it is not full any more.
    finish(work);
  } else if (failure.code == StreamFailure::wrongSequence) {
    conflicted(work);
  } else {
    if (failure.isFull()) {
      changeHealth(Health::full, failure.words);
    }
    fail(work);
  }
}

void JetStreamStore::again(Works::iterator work, const std::string& why) {
  const Instant first = work->second.underWay.front().asked;
  if (++work->second.attempts < mostAttempts && clock->now() < first + questionTime) {
    read(work);
    return;
  }
  fail(work);
  unavailable(Health::failing, why);
}

void JetStreamStore::conflicted(Works::iterator work) {
  if (clock->now() >= work->second.underWay.front().asked + questionTime) {
    // The engine remembers a change for a while that it has not stored.
    fail(work);
  } else if (++work->second.attempts <= quickAttempts) {
    read(work);
  } else {
    pausing.push_back(work->first);
  }
}

void JetStreamStore::fail(Works::iterator work) {
  for (Question& question : work->second.underWay) {
    answerUnavailable(question, work->second);
  }
  for (Question& question : work->second.underWay) {
    question.answer = nullptr;
  }
  finish(work);
}

void JetStreamStore::settle(Work& work) {
  for (Question& question : work.underWay) {
    --questions;
    waitingBytes -= question.bytes;
    const double seconds = std::chrono::duration<double>(clock->now() - question.asked).count();
    if (std::holds_alternative<Find>(question.asks)) {
      told.find.add(seconds);
    } else if (std::holds_alternative<Claim>(question.asks)) {
      told.claim.add(seconds);
    } else if (std::holds_alternative<Keep>(question.asks)) {
      told.keep.add(seconds);
    }
    if (question.answer) {
      due.push_back(std::move(question.answer));
    }
  }
  work.underWay.clear();
}

void JetStreamStore::finish(Works::iterator work) {
  settle(work->second);
  if (!work->second.waiting.empty() && isOpen()) {
    begin(work);
  } else if (work->second.waiting.empty()) {
    works.erase(work);
    changed.notify_all();
  }
}

void JetStreamStore::failAll() {
  // What is asked from here on is answered at once, so that this ends.
  requests.clear();
  pausing.clear();
  isLooking = false;
  while (!works.empty()) {
    const auto work = works.begin();
    if (work->second.underWay.empty()) {
      work->second.underWay.swap(work->second.waiting);
    }
    fail(work);
  }
}

void JetStreamStore::answerUnavailable(const Question& question, const Work& work) {
  const auto answer = Overloaded{
      [&](const Find& find) {
        // It could be read, and only others' changes not be written.
        due.push_back([then = find.then, found = work.wasRead
                                                     ? asFound(work.before)
                                                     : Found(StoreUnavailable())] { then(found); });
      },
      [&](const Claim& claim) { due.push_back([then = claim.then] { then(std::nullopt); }); },
      [&](const Keep& keep) { due.push_back([then = keep.then] { then(false); }); },
      [&](const Revoke& revoke) { due.push_back([then = revoke.then] { then(false); }); },
      [&](const Subscribing& asks) { due.push_back([then = asks.then] { then(false); }); },
      [&](const Copying& asks) {
        const Copied what = work.isUnusable ? Copied::unusable : Copied::failed;
        due.push_back([then = asks.then, what] { then(what); });
      },
      [](const auto&) {}};
  std::visit(answer, question.asks);
}

Found JetStreamStore::asFound(const std::optional<StoredRecord>& stored) const {
  if (!stored) {
    return NoRecord();
  }
  Record record = stored->record;
  // Numbers that another relay has given and could not keep do not come again.
  record.lastNumber = std::min(std::max(record.lastNumber + numberGap, firstNumber(unixNow()) - 1),
                               firstNumber(INT64_MAX));
  return record;
}

bool JetStreamStore::isOwned(std::optional<StoredRecord>& stored, const TokenHash& owner,
                             bool& isChanged) const {
  if (!stored && isRoomForMore) {
    stored = StoredRecord{{.owner = owner}, unixNow()};
    isChanged = true;
  }
  return stored && stored->record.owner == owner;
}

bool JetStreamStore::apply(Question& question, std::optional<StoredRecord>& stored) {
  bool isChanged = false;
  const auto answering = [&question](const auto& then, auto answer) {
    question.answer = [then, answer = std::move(answer)] { then(answer); };
  };
  const auto apply = Overloaded{
      [&](const Find& find) { answering(find.then, asFound(stored)); },
      [&](const Claim& claim) {
        static_cast<void>(isOwned(stored, claim.token, isChanged));
        const Found found = asFound(stored);
        const auto* const record = std::get_if<Record>(&found);
        answering(claim.then, record == nullptr ? Claimed() : Claimed(*record));
      },
      [&](const Keep& keep) {
        const bool isOwner = isOwned(stored, keep.owner, isChanged);
        if (isOwner) {
          isChanged = insert(stored->record, keep.alert) || isChanged;
          stored->record.trim(limits, unixNow());
        }
        answering(keep.then, isOwner);
      },
      [&](const Revoke& revoke) {
        if (isOwned(stored, revoke.owner, isChanged)) {
          stored->record.owner = TokenHash::ofNoToken();
          stored->record.alerts.clear();
          stored->record.subscriptions.clear();
          isChanged = true;
        }
        answering(revoke.then, stored.has_value());
      },
      [&](const Taken& taken) {
        if (stored && stored->record.takenNumber < taken.number) {
          stored->record.takenNumber = taken.number;
          isChanged = true;
        }
      },
      [&](const Subscribing& subscribing) {
        const bool isOwner = isOwned(stored, subscribing.owner, isChanged);
        if (isOwner) {
          insert(stored->record, subscribing.subscription, limits);
          isChanged = true;
        }
        answering(subscribing.then, isOwner);
      },
      [&](const Unsubscribing& leaving) {
        isChanged = stored && std::erase_if(stored->record.subscriptions, [&](const auto& each) {
                                return each.endpoint == leaving.endpoint;
                              }) > 0;
      },
      [&](const Use&) { isChanged = stored.has_value(); },
      [&](const Copying& copying) {
        const Record& from = copying.record.record;
        const bool isOwner = isOwned(stored, from.owner, isChanged);
        if (isOwner) {
          const std::string was = stored->text();
          for (const KeptAlert& alert : from.alerts) {
            insert(stored->record, alert);
          }
          for (const Subscription& each : from.subscriptions) {
            insert(stored->record, each, limits);
          }
          stored->record.lastNumber = std::max(stored->record.lastNumber, from.lastNumber);
          stored->record.takenNumber = std::max(stored->record.takenNumber, from.takenNumber);
          stored->record.trim(limits, unixNow());
          isChanged = isChanged || stored->text() != was;
        }
        answering(copying.then, isOwner   ? Copied::isThere
                                : !stored ? Copied::noRoom
                                          : Copied::hasOtherOwner);
      }};
  std::visit(apply, question.asks);
  return isChanged;
}

void JetStreamStore::request(Request::Kind kind, const Identifier& identifier,
                             NATSConnection::Message message) {
  const std::uint64_t number = ++lastRequest;
  requests.emplace(
      number, Request{kind, identifier, clock->now() + requestTime, message.after.value_or(0)});
  message.reply = inbox + std::to_string(number);
  // One that is not sent is one that is not answered.
  static_cast<void>(connection->send(std::move(message)));
}

void JetStreamStore::connected() {
  const std::lock_guard guard(mutex);
  longest = connection->longestMessage();
  look();
}

void JetStreamStore::lost(const std::string& why) {
  {
    const std::lock_guard guard(mutex);
    unavailable(Health::failing, why);
  }
  deliver();
}

void JetStreamStore::received(std::string_view subject, std::string_view data, bool isUnheard) {
  std::uint64_t number = 0;
  if (!subject.starts_with(inbox)) {
    return;
  }
  const std::string_view digits = subject.substr(inbox.size());
  if (std::from_chars(digits.data(), digits.data() + digits.size(), number).ec != std::errc()) {
    return;
  }
  const UntypedValue answer = readJSONOrNull(data);
  StreamFailure failure = StreamFailure::in(answer, isUnheard);
  {
    const std::lock_guard guard(mutex);
    const auto asked = requests.find(number);
    if (asked == requests.end()) {
      return;
    }
    const Request request = asked->second;
    requests.erase(asked);
    const auto work = works.find(request.identifier);
    const bool isWork = request.kind == Request::Kind::read || request.kind == Request::Kind::write;
    if (isWork && work == works.end()) {
      return;
    }
    const bool isWriting =
        request.kind == Request::Kind::write || request.kind == Request::Kind::probe;
    if (isWriting && failure.code == 0 && !stream().hasTaken(answer, request.after)) {
      failure = {StreamFailure::notAcknowledged, "another program answers for its stream"};
    }
    switch (request.kind) {
      case Request::Kind::read:
        found(work, answer, failure);
        break;
      case Request::Kind::write:
        if (clock->now() >= request.until) {
          // The engine may have forgotten by now that it took another change of this version.
          again(work, "it answers late");
        } else {
          written(work, failure);
        }
        break;
      case Request::Kind::look:
        looked(answer, failure);
        break;
      case Request::Kind::make:
        made(failure);
        break;
      case Request::Kind::compare:
        compared(failure);
        break;
      case Request::Kind::probe:
        probed(failure);
        break;
    }
  }
  deliver();
}

void JetStreamStore::tick() {
  {
    const std::lock_guard guard(mutex);
    const Instant now = clock->now();
    std::vector<Request> late;
    std::erase_if(requests, [&](const auto& each) {
      const bool isLate = each.second.until <= now;
      if (isLate) {
        late.push_back(each.second);
      }
      return isLate;
    });
    for (const Request& request : late) {
      const std::string why = "it does not answer: most of its servers may be away";
      const auto work = works.find(request.identifier);
      if (request.kind != Request::Kind::read && request.kind != Request::Kind::write) {
        isLooking = false;
        unavailable(Health::failing, why);
      } else if (work != works.end() && !work->second.underWay.empty()) {
        again(work, why);
      }
    }
    for (const Identifier& identifier : std::exchange(pausing, {})) {
      const auto work = works.find(identifier);
      if (work != works.end() && !work->second.underWay.empty()) {
        read(work);
      }
    }
    if (!isLooking && now >= nextLook) {
      look();
    }
  }
  deliver();
}

void JetStreamStore::look() {
  isLooking = true;
  nextLook = clock->now() + lookInterval;
  request(Request::Kind::look, {}, {"$JS.API.STREAM.INFO." + settings.name});
}

void JetStreamStore::looked(const UntypedValue& answer, const StreamFailure& failure) {
  isLooking = false;
  if (failure.code == StreamFailure::noStream) {
    isLooking = true;
    request(Request::Kind::make, {},
            {"$JS.API.STREAM.CREATE." + settings.name, stream().config().text()});
    return;
  }
  if (failure.code != 0) {
    unavailable(Health::failing, failure.words);
    return;
  }
  const UntypedValue& config = part(answer, "config");
  if (const std::string member = stream().unfit(config); !member.empty()) {
    unavailable(Health::unknownFormat, "its stream \"" + settings.name +
                                           "\" is another program's, or it is too old: " + member);
    return;
  }
  if (longest < recordBytes) {
    unavailable(Health::unknownFormat, "it takes messages of " + std::to_string(longest) +
                                           " bytes at most (max_payload), and needs " +
                                           std::to_string(recordBytes));
    return;
  }
  const std::int64_t most = integer(config, "max_bytes", 0);
  // As in a file: the last quarter is for the alerts of those that are there.
  isRoomForMore = most <= 0 || integer(part(answer, "state"), "bytes", 0) < most / 4 * 3;
  if (!hasQuorum(part(answer, "cluster"))) {
    unavailable(Health::failing, "most of its servers are away");
  } else if (told.health != Health::available) {
    // A leader that is cut off from the others says that all is well until it has to write.
    isLooking = true;
    // Another each time: one that the engine has taken once is refused for a while as said twice.
    request(Request::Kind::compare, {},
            {.subject = trialSubject(), .after = impossiblePlace - std::random_device()()});
  }
}

/// One that has not compared would let a relay write over what another has kept a moment ago.
void JetStreamStore::compared(const StreamFailure& failure) {
  if (failure.code == 0) {
    isLooking = false;
    unavailable(Health::unknownFormat,
                "the engine is too old: it does not compare what is written with what was read");
    return;
  }
  const std::size_t bytes = told.health == Health::full ? probeBytes : 0;
  request(Request::Kind::probe, {}, {.subject = trialSubject(), .data = std::string(bytes, ' ')});
}

void JetStreamStore::made(const StreamFailure& failure) {
  isLooking = false;
  // Another relay may have made it at the same time, which the engine says in one way or the other.
  const bool isThere =
      failure.code == StreamFailure::nameInUse ||
      (failure.code == StreamFailure::subjectOverlap && !std::exchange(wasOverlapping, true));
  if (failure.code == 0 || isThere) {
    nextLook = clock->now();
  } else {
    unavailable(Health::failing, "no stream on " + std::to_string(settings.replicas) +
                                     " of its servers (--cluster-replicas): " + failure.words);
  }
}

void JetStreamStore::probed(const StreamFailure& failure) {
  isLooking = false;
  if (failure.code == 0) {
    if (told.health == Health::full) {
      // What has been tried out takes no room, and the next one does not take its place.
      static_cast<void>(connection->send({trialSubject()}));
    }
    open(Health::available, "");
  } else if (failure.isFull()) {
    open(Health::full, failure.words);
  } else {
    unavailable(Health::failing, failure.words);
  }
}

void JetStreamStore::open(Health health, const std::string& why) {
  changeHealth(health, why);
  std::vector<Identifier> all;
  for (const auto& [identifier, work] : works) {
    if (work.underWay.empty()) {
      all.push_back(identifier);
    }
  }
  for (const Identifier& each : all) {
    begin(works.find(each));
  }
}

void JetStreamStore::unavailable(Health health, const std::string& why) {
  changeHealth(health, why);
  failAll();
}

void JetStreamStore::changeHealth(Health health, const std::string& why) {
  const Health before = std::exchange(told.health, health);
  const bool isNew = std::exchange(told.why, why) != why || before != health;
  if (health == Health::available) {
    if (before != Health::opening) {
      log("the cluster's store works again");
    }
  } else if (isNew) {
    log("the cluster's store is " + std::string(text(health)) + " (" + why +
        "): no alert is safe and no new computer is taken until it works");
  }
}

void JetStreamStore::deliver() {
  std::unique_lock guard(mutex);
  // Whoever is at it takes these too, so that all come in order.
  if (std::exchange(isDelivering, true)) {
    return;
  }
  while (!due.empty()) {
    const auto answers = std::exchange(due, {});
    guard.unlock();
    for (const auto& answer : answers) {
      answer();
    }
    guard.lock();
  }
  isDelivering = false;
}

RecordStream JetStreamStore::stream() const {
  return {settings.name, settings.replicas, settings.bytes, limits.recordTime};
}

std::string JetStreamStore::trialSubject() const { return settings.name + ".record.room"; }

std::string JetStreamStore::subjectOf(const Identifier& identifier) const {
  return settings.name + ".record." + base64URL(identifier);
}

}  // namespace orvik::relay
