#include "relay/SQLiteStore.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <ctime>
#include <optional>
#include <system_error>
#include <utility>

#include "core/system/FileOperations.h"
#include "core/system/ReplaceFile.h"
#include "relay/RecordFile.h"

namespace orvik::relay {

namespace fs = std::filesystem;

namespace {

/// Between two looks for what is too old.
constexpr std::chrono::hours cleaningInterval{1};

bool isDamage(const SQLiteError& error) {
  return error.code() == SQLITE_CORRUPT || error.code() == SQLITE_NOTADB;
}

StoreState::Health healthAfter(const SQLiteError& error) {
  switch (error.code()) {
    case SQLITE_FULL:
      return StoreState::Health::full;
    case SQLITE_READONLY:
    case SQLITE_PERM:
      return StoreState::Health::readOnly;
    case SQLITE_BUSY:
    case SQLITE_LOCKED:
      return StoreState::Health::locked;
    default:
      return StoreState::Health::failing;
  }
}

/// "2026-11-22T11-44-05Z": fit for a file's name everywhere.
std::string nameOf(std::int64_t unixSeconds) {
  const auto time = static_cast<std::time_t>(unixSeconds);
  std::tm utc{};
  std::array<char, 32> text{};
  if (gmtime_r(&time, &utc) == nullptr ||
      std::strftime(text.data(), text.size(), "%Y-%m-%dT%H-%M-%SZ", &utc) == 0) {
    return std::to_string(unixSeconds);
  }
  return text.data();
}

fs::path withEnd(const fs::path& path, const std::string& end) { return path.native() + end; }

}  // namespace

SQLiteStore::SQLiteStore(fs::path file, const Limits& limits, std::shared_ptr<Clock> clock, Log log)
    : path(std::move(file)),
      limits(limits),
      clock(std::move(clock)),
      log(std::move(log)),
      nextOpening(this->clock->now()),
      retry(limits.storeRetry),
      nextCleaning(nextOpening) {
  told.subscriptions = 0;
  FileOperations operations;
  const fs::path folder = fs::absolute(path).parent_path();
  if (!makeFolders(folder, operations)) {
    throw std::system_error(errno, std::generic_category(), "cannot make " + folder.string());
  }
  std::error_code ignored;
  if (fs::exists(path, ignored) && !fs::is_regular_file(path, ignored)) {
    throw std::runtime_error(path.string() + " is no file");
  }
  told.health = Health::opening;
  told.mostQueued = limits.storeQueue;
  thread = std::thread([this] { run(); });
}

SQLiteStore::~SQLiteStore() {
  {
    const std::lock_guard guard(mutex);
    isEnding = true;
  }
  changed.notify_one();
  thread.join();
}

void SQLiteStore::find(const Identifier& identifier, std::function<void(Found)> then) {
  if (!ask({identifier, Find{then}, clock->now()})) {
    then(StoreUnavailable());
  }
}

void SQLiteStore::claim(const Identifier& identifier, const TokenHash& token,
                        std::function<void(Claimed)> then) {
  if (!ask({identifier, Claim{token, then}, clock->now()})) {
    then(std::nullopt);
  }
}

void SQLiteStore::keep(const Identifier& identifier, const TokenHash& owner, KeptAlert alert,
                       std::function<void(bool isSafe)> then) {
  if (!ask({identifier, Keep{owner, std::move(alert), then}, clock->now()})) {
    then(false);
  }
}

void SQLiteStore::revoke(const Identifier& identifier, const TokenHash& owner,
                         std::function<void(bool isRevoked)> then) {
  if (!ask({identifier, Revoke{owner, then}, clock->now()})) {
    then(false);
  }
}

void SQLiteStore::markTaken(const Identifier& identifier, std::uint64_t number) {
  static_cast<void>(ask({identifier, Taken{number}, clock->now()}));
}

void SQLiteStore::subscribe(const Identifier& identifier, const TokenHash& owner,
                            Subscription subscription, std::function<void(bool isKept)> then) {
  if (!ask({identifier, Subscribing{owner, std::move(subscription), then}, clock->now()})) {
    then(false);
  }
}

void SQLiteStore::unsubscribe(const Identifier& identifier, const std::string& endpoint) {
  static_cast<void>(ask({identifier, Unsubscribing{endpoint}, clock->now()}));
}

StoreState SQLiteStore::state() const {
  const std::lock_guard guard(mutex);
  StoreState state = told;
  state.queued = waiting.size();
  return state;
}

bool SQLiteStore::ask(Question question) {
  const auto* const keeping = std::get_if<Keep>(&question.asks);
  const std::size_t bytes = keeping == nullptr ? 0 : keeping->alert.envelope->size();
  {
    const std::lock_guard guard(mutex);
    if (waiting.size() >= limits.storeQueue || waitingBytes + bytes > limits.storeQueueBytes) {
      ++told.refused;
      return false;
    }
    waitingBytes += bytes;
    waiting.push_back(std::move(question));
  }
  changed.notify_one();
  return true;
}

void SQLiteStore::run() {
  for (bool isOver = false; !isOver;) {
    try {
      isOver = !runOnce();
    } catch (const std::exception& error) {
      // No memory: whoever asked is not answered, and asks again.
      file.reset();
      unavailable(Health::failing, error.what());
    }
  }
  file.reset();
}

bool SQLiteStore::runOnce() {
  if (!isAvailable() && clock->now() >= nextOpening) {
    open();
  }
  if (isAvailable() && clock->now() >= nextCleaning) {
    clean();
  }
  Batch batch = nextBatch();
  const bool isOver = batch.empty() && [this] {
    const std::lock_guard guard(mutex);
    return isEnding && waiting.empty();
  }();
  if (!isOver) {
    work(std::move(batch));
  }
  return !isOver;
}

/// All that waits, once something does; nothing when it is time for something else.
SQLiteStore::Batch SQLiteStore::nextBatch() {
  const Instant next = isAvailable() ? nextCleaning : nextOpening;
  const auto pause = std::max(next - clock->now(), Clock::Duration::zero());
  std::unique_lock guard(mutex);
  changed.wait_for(guard, pause, [this] { return isEnding || !waiting.empty(); });
  waitingBytes = 0;
  return std::exchange(waiting, {});
}

void SQLiteStore::work(Batch batch) {
  // What is read after this may have been asked for before: nobody asks for what he writes.
  write(batch);
  read(batch);
}

void SQLiteStore::write(Batch& batch) {
  std::vector<bool> isDone(batch.size());
  std::vector<Claimed> claims(batch.size());
  const bool isWritten = isAvailable() && commit(batch, isDone, claims);
  for (std::size_t i = 0; i < batch.size(); ++i) {
    Question& question = batch[i];
    if (auto* const claim = std::get_if<Claim>(&question.asks)) {
      count(&StoreState::claim, question.asked);
      claim->then(isWritten ? std::move(claims[i]) : std::nullopt);
    } else if (auto* const keep = std::get_if<Keep>(&question.asks)) {
      count(&StoreState::keep, question.asked);
      keep->then(isWritten && isDone[i]);
    } else if (auto* const revoke = std::get_if<Revoke>(&question.asks)) {
      revoke->then(isWritten && isDone[i]);
    } else if (auto* const subscribing = std::get_if<Subscribing>(&question.asks)) {
      subscribing->then(isWritten && isDone[i]);
    }
  }
}

bool SQLiteStore::commit(const Batch& batch, std::vector<bool>& isDone,
                         std::vector<Claimed>& claims) {
  const bool isAnyWritten = std::ranges::any_of(
      batch, [](const Question& each) { return !std::holds_alternative<Find>(each.asks); });
  if (!isAnyWritten) {
    return true;
  }
  try {
    SQLite::Transaction whole = file->transaction();
    for (std::size_t i = 0; i < batch.size(); ++i) {
      commit(batch[i], isDone[i], claims[i]);
    }
    whole.commit();
    tellSubscriptions();
    retry = limits.storeRetry;
    wasMovedAside = false;
    return true;
  } catch (const SQLiteError& error) {
    failed(error);
    return false;
  }
}

void SQLiteStore::commit(const Question& question, std::vector<bool>::reference isDone,
                         Claimed& claim) {
  const std::int64_t now = unixNow();
  const Identifier& identifier = question.identifier;
  if (const auto* const claiming = std::get_if<Claim>(&question.asks)) {
    file->claim(identifier, claiming->token, now);
    claim = file->find(identifier, now).record;
  } else if (const auto* const keep = std::get_if<Keep>(&question.asks)) {
    isDone = file->keep(identifier, keep->owner, keep->alert, now);
  } else if (const auto* const revoke = std::get_if<Revoke>(&question.asks)) {
    isDone = file->revoke(identifier, revoke->owner, now);
  } else if (const auto* const taken = std::get_if<Taken>(&question.asks)) {
    file->markTaken(identifier, taken->number);
  } else if (const auto* const subscribing = std::get_if<Subscribing>(&question.asks)) {
    isDone = file->subscribe(identifier, subscribing->owner, subscribing->subscription, now);
  } else if (const auto* const leaving = std::get_if<Unsubscribing>(&question.asks)) {
    file->unsubscribe(identifier, leaving->endpoint);
  }
}

void SQLiteStore::read(Batch& batch) {
  std::vector<Identifier> longUnused;
  for (const Question& question : batch) {
    const auto* const find = std::get_if<Find>(&question.asks);
    if (find == nullptr) {
      continue;
    }
    Found found = StoreUnavailable();
    try {
      if (file) {
        RecordFile::Found read = file->find(question.identifier, unixNow());
        if (read.isLongUnused) {
          longUnused.push_back(question.identifier);
        }
        found = read.record ? Found(*std::move(read.record)) : Found(NoRecord());
      }
    } catch (const SQLiteError& error) {
      failed(error);
    }
    count(&StoreState::find, question.asked);
    find->then(std::move(found));
  }
  if (!longUnused.empty() && isAvailable()) {
    renew(longUnused);
  }
}

void SQLiteStore::renew(const std::vector<Identifier>& used) {
  try {
    SQLite::Transaction whole = file->transaction();
    for (const Identifier& identifier : used) {
      file->use(identifier, unixNow());
    }
    whole.commit();
  } catch (const SQLiteError& error) {
    failed(error);
  }
}

void SQLiteStore::clean() {
  try {
    const bool isMore = file->clean(unixNow());
    tellSubscriptions();
    nextCleaning = clock->now() + (isMore ? Clock::Duration::zero() : cleaningInterval);
  } catch (const SQLiteError& error) {
    failed(error);
  }
}

void SQLiteStore::tellSubscriptions() {
  const std::lock_guard guard(mutex);
  told.subscriptions =
      static_cast<std::uint64_t>(std::max<std::int64_t>(file->subscriptionCount(), 0));
}

void SQLiteStore::open() {
  file.reset();
  try {
    file = std::make_unique<RecordFile>(path, limits, !wasChecked);
    wasChecked = true;
    file->begin(unixNow());
    tellSubscriptions();
    available();
  } catch (const SQLiteError& error) {
    failed(error);
  } catch (const RecordFile::UnknownFormat&) {
    unavailable(Health::unknownFormat, "it is another program's, or a newer version's");
  }
}

void SQLiteStore::failed(const SQLiteError& error) {
  if (isDamage(error)) {
    moveAside(error.what());
    return;
  }
  const Health health = healthAfter(error);
  if (health == Health::failing) {
    // Whatever the disk has done, it may have done to the file.
    file.reset();
    wasChecked = false;
  }
  unavailable(health, error.what());
}

void SQLiteStore::moveAside(const std::string& why) {
  file.reset();
  fs::path aside = withEnd(path, ".damaged-" + nameOf(unixNow()));
  std::error_code error;
  for (int more = 2; fs::exists(aside, error); ++more) {
    aside = withEnd(path, ".damaged-" + nameOf(unixNow()) + "-" + std::to_string(more));
  }
  fs::rename(path, aside, error);
  // With them some of it may be read by whoever tries. A new file must not find them.
  for (const char* const end : {"-wal", "-shm"}) {
    std::error_code absent;
    fs::rename(withEnd(path, end), withEnd(aside, end), absent);
  }
  if (error) {
    unavailable(Health::failing,
                "it is damaged (" + why + ") and cannot be moved aside: " + error.message());
    return;
  }
  log("the store " + path.string() + " is damaged (" + why + "): moved to " + aside.string() +
      "; a new one is made");
  {
    const std::lock_guard guard(mutex);
    ++told.damagedFiles;
    told.health = Health::opening;
  }
  // A disk that damages every file is not to be filled with them.
  nextOpening = clock->now() + (wasMovedAside ? retry : Clock::Duration::zero());
  retry = wasMovedAside ? std::min(2 * retry, limits.longestStoreRetry) : retry;
  wasMovedAside = true;
}

void SQLiteStore::unavailable(Health health, const std::string& why) {
  const bool isNew = [&] {
    const std::lock_guard guard(mutex);
    return std::exchange(told.health, health) != health;
  }();
  if (isNew) {
    log("the store " + path.string() + " is " + std::string(text(health)) + " (" + why +
        "): no alert is safe and no new computer is taken until it works");
  }
  nextOpening = clock->now() + retry;
  retry = std::min(2 * retry, limits.longestStoreRetry);
}

void SQLiteStore::available() {
  const Health before = [this] {
    const std::lock_guard guard(mutex);
    return std::exchange(told.health, Health::available);
  }();
  if (before != Health::opening) {
    log("the store " + path.string() + " works again");
  }
}

bool SQLiteStore::isAvailable() const {
  const std::lock_guard guard(mutex);
  return told.health == Health::available;
}

void SQLiteStore::count(AnswerTimes StoreState::*times, Instant asked) {
  const double seconds = std::chrono::duration<double>(clock->now() - asked).count();
  const std::lock_guard guard(mutex);
  (told.*times).add(seconds);
}

}  // namespace orvik::relay
