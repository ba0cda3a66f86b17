#pragma once

#include <condition_variable>
#include <filesystem>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <variant>
#include <vector>

#include "core/async/Clock.h"
#include "relay/Limits.h"
#include "relay/RecordStore.h"

namespace orvik::relay {

class RecordFile;
class SQLiteError;

/// Keeps records in a database file. One thread does all of it: what waits when it comes to write
/// goes to the disk in one commit. Whatever fails is tried again for as long as it takes; a damaged
/// file is moved aside and a new one is made.
class SQLiteStore final : public RecordStore {
 public:
  /// Told what an operator has to know, in one line, on the store's thread.
  using Log = std::function<void(const std::string&)>;

  /// Makes the file's folder, and opens the file soon after. Throws std::runtime_error when there
  /// can be no such file. `limits` outlive the store.
  SQLiteStore(std::filesystem::path file, const Limits& limits, std::shared_ptr<Clock> clock,
              Log log);
  SQLiteStore(const SQLiteStore&) = delete;
  SQLiteStore& operator=(const SQLiteStore&) = delete;
  /// Answers everything that has been asked, and closes the file.
  ~SQLiteStore() override;

  void find(const Identifier& identifier, std::function<void(Found)> then) override;
  void claim(const Identifier& identifier, const TokenHash& token,
             std::function<void(Claimed)> then) override;
  void keep(const Identifier& identifier, const TokenHash& owner, KeptAlert alert,
            std::function<void(bool isSafe)> then) override;
  void revoke(const Identifier& identifier, const TokenHash& owner,
              std::function<void(bool isRevoked)> then) override;
  void markTaken(const Identifier& identifier, std::uint64_t number) override;
  void subscribe(const Identifier& identifier, const TokenHash& owner, Subscription subscription,
                 std::function<void(bool isKept)> then) override;
  void unsubscribe(const Identifier& identifier, const std::string& endpoint) override;
  [[nodiscard]] bool isDurable() const noexcept override { return true; }
  [[nodiscard]] StoreState state() const override;

 private:
  using Health = StoreState::Health;
  struct Find {
    std::function<void(Found)> then;
  };
  struct Claim {
    TokenHash token;
    std::function<void(Claimed)> then;
  };
  struct Keep {
    TokenHash owner;
    KeptAlert alert;
    std::function<void(bool)> then;
  };
  struct Revoke {
    TokenHash owner;
    std::function<void(bool)> then;
  };
  struct Taken {
    std::uint64_t number;
  };
  struct Subscribing {
    TokenHash owner;
    Subscription subscription;
    std::function<void(bool)> then;
  };
  struct Unsubscribing {
    std::string endpoint;
  };
  struct Question {
    Identifier identifier;
    std::variant<Find, Claim, Keep, Revoke, Taken, Subscribing, Unsubscribing> asks;
    Instant asked;
  };
  using Batch = std::vector<Question>;

  /// False when there is no room for it.
  [[nodiscard]] bool ask(Question question);
  void run();
  /// False when it is over.
  [[nodiscard]] bool runOnce();
  [[nodiscard]] Batch nextBatch();
  void work(Batch batch);
  void write(Batch& batch);
  /// Whether all of it is on the disk. Keeps what the file has to say to each.
  bool commit(const Batch& batch, std::vector<bool>& isDone, std::vector<Claimed>& claims);
  /// What one question of a batch changes.
  void commit(const Question& question, std::vector<bool>::reference isDone, Claimed& claim);
  void read(Batch& batch);
  void renew(const std::vector<Identifier>& used);
  void clean();
  void tellSubscriptions();

  void open();
  void failed(const SQLiteError& error);
  void moveAside(const std::string& why);
  void unavailable(Health health, const std::string& why);
  void available();
  [[nodiscard]] bool isAvailable() const;
  [[nodiscard]] std::int64_t unixNow() const { return epochSeconds(clock->unixNow()); }
  void count(AnswerTimes StoreState::*times, Instant asked);

  const std::filesystem::path path;
  const Limits& limits;
  const std::shared_ptr<Clock> clock;
  const Log log;

  mutable std::mutex mutex;
  std::condition_variable changed;
  Batch waiting;
  std::size_t waitingBytes = 0;
  StoreState told;
  bool isEnding = false;

  /// The thread's alone from here on. Null while the file cannot be opened.
  std::unique_ptr<RecordFile> file;
  bool wasChecked = false;
  /// Since the last commit.
  bool wasMovedAside = false;
  Instant nextOpening;
  Clock::Duration retry;
  Instant nextCleaning;
  std::thread thread;
};

}  // namespace orvik::relay
