#pragma once

#include <condition_variable>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "core/async/Clock.h"
#include "relay/Limits.h"
#include "relay/RecordStore.h"
#include "relay/cluster/NATSConnection.h"
#include "relay/cluster/RecordStream.h"
#include "relay/cluster/StoredRecord.h"

namespace orvik {
class UntypedValue;
}

namespace orvik::relay {

/// Keeps records in a stream of NATS, for all relays that use it: the last message on a subject is
/// an identifier's record. What changes one is written only if nobody else has written since it
/// was read, and done anew otherwise. The stream is made when there is none, and never changed.
class JetStreamStore final : public RecordStore, private NATSConnection::Receiver {
 public:
  /// Told what an operator has to know, in one line.
  using Log = std::function<void(const std::string&)>;

  struct Settings {
    NATSConnection::Settings connection;
    /// Of the stream, and in front of all subjects.
    std::string name = "orvik";
    /// On how many servers of the engine each record is, where the stream has to be made.
    std::int64_t replicas = 3;
    /// What the stream may take, where it has to be made; 0 for all that the engine has.
    std::int64_t bytes = 0;
  };

  /// Connects soon, and again for as long as it takes. `limits` outlive the store. Throws
  /// std::runtime_error like the connection's settings.
  JetStreamStore(Settings settings, const Limits& limits, std::shared_ptr<Clock> clock, Log log);
  JetStreamStore(const JetStreamStore&) = delete;
  JetStreamStore& operator=(const JetStreamStore&) = delete;
  /// Answers everything that has been asked, within seconds.
  ~JetStreamStore() override;

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

  /// unusable: what is there of it cannot be read, or would be too long. noRoom: for none that is
  /// not there yet.
  enum class Copied { isThere, hasOtherOwner, unusable, noRoom, failed };
  /// Adds what another store knows of an identifier; nothing where somebody else owns it.
  void copy(const Identifier& identifier, StoredRecord record,
            const std::function<void(Copied)>& then);

  [[nodiscard]] NATSConnection::State connectionState() const { return connection->state(); }

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
  /// It has been used, which was noted long ago.
  struct Use {};
  struct Copying {
    StoredRecord record;
    std::function<void(Copied)> then;
  };
  using Asks =
      std::variant<Find, Claim, Keep, Revoke, Taken, Subscribing, Unsubscribing, Use, Copying>;
  struct Question {
    Asks asks;
    Instant asked;
    std::size_t bytes;
    /// What is answered once the record is written.
    std::function<void()> answer{};
  };
  /// What is asked about one identifier.
  struct Work {
    /// Those whose record is being read or written, and those after them.
    std::vector<Question> underWay{};
    std::vector<Question> waiting{};
    int attempts = 0;
    /// As it was read; nothing also where it has not been read yet.
    std::optional<StoredRecord> before{};
    bool wasRead = false;
    /// No attempt will do.
    bool isUnusable = false;
  };
  using Works = std::map<Identifier, Work>;
  struct Request {
    enum class Kind { read, write, look, make, compare, probe };
    Kind kind;
    Identifier identifier;
    Instant until;
    /// The place in the stream that a write has to come after.
    std::uint64_t after = 0;
  };
  void connected() override;
  void lost(const std::string& why) override;
  void received(std::string_view subject, std::string_view data, bool isUnheard) override;
  void tick() override;

  // All of these are called while `mutex` is held.
  void begin(Works::iterator work);
  void read(Works::iterator work);
  void found(Works::iterator work, const UntypedValue& answer, const StreamFailure& failure);
  void write(Works::iterator work, const StoredRecord& record, std::uint64_t after);
  void written(Works::iterator work, const StreamFailure& failure);
  void again(Works::iterator work, const std::string& why);
  /// Another relay has changed the record, or is about to.
  void conflicted(Works::iterator work);
  void fail(Works::iterator work);
  void failAll();
  void settle(Work& work);
  void finish(Works::iterator work);
  void looked(const UntypedValue& answer, const StreamFailure& failure);
  void made(const StreamFailure& failure);
  void compared(const StreamFailure& failure);
  void probed(const StreamFailure& failure);
  void request(Request::Kind kind, const Identifier& identifier, NATSConnection::Message message);
  void look();
  void open(Health health, const std::string& why);
  void unavailable(Health health, const std::string& why);
  void changeHealth(Health health, const std::string& why);
  [[nodiscard]] bool isOpen() const {
    return told.health == Health::available || told.health == Health::full;
  }
  /// Makes one change to what is known of an identifier, and prepares its answer. Whether anything
  /// has changed.
  bool apply(Question& question, std::optional<StoredRecord>& stored);
  /// Whether the record is this owner's, or now is since nobody has owned it.
  bool isOwned(std::optional<StoredRecord>& stored, const TokenHash& owner, bool& isChanged) const;
  [[nodiscard]] Found asFound(const std::optional<StoredRecord>& stored) const;
  void answerUnavailable(const Question& question, const Work& work);

  /// False when there is no room for it, or the engine is away.
  [[nodiscard]] bool ask(const Identifier& identifier, Asks asks, std::size_t bytes = 0);
  /// Calls what answers, in order.
  void deliver();
  [[nodiscard]] std::int64_t unixNow() const { return epochSeconds(clock->unixNow()); }
  [[nodiscard]] RecordStream stream() const;
  [[nodiscard]] std::string trialSubject() const;
  [[nodiscard]] std::string subjectOf(const Identifier& identifier) const;

  const Settings settings;
  const Limits& limits;
  const std::shared_ptr<Clock> clock;
  const Log log;
  /// Where this relay's answers go to.
  const std::string inbox;

  mutable std::mutex mutex;
  std::condition_variable changed;
  StoreState told;
  Works works;
  std::size_t questions = 0;
  std::size_t waitingBytes = 0;
  std::map<std::uint64_t, Request> requests;
  std::uint64_t lastRequest = 0;
  /// Whose records are read again at the next tick.
  std::vector<Identifier> pausing;
  bool isLooking = false;
  bool wasOverlapping = false;
  bool isRoomForMore = true;
  bool wasUnreadableLogged = false;
  /// Bytes of a message that the engine takes.
  std::size_t longest = 0;
  Instant nextLook;
  std::vector<std::function<void()>> due;
  bool isDelivering = false;

  std::unique_ptr<NATSConnection> connection;
};

}  // namespace orvik::relay
