#pragma once

#include <array>
#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>
#include <queue>
#include <random>
#include <vector>

#include "bench/load/Client.h"
#include "bench/load/Histogram.h"

namespace orvik::load {

/// What a fleet is made of; the same for the whole run.
struct FleetPlan {
  /// Relays that share identifiers, or the one server. A connection that ends tries the next.
  std::vector<Target> targets;
  /// Whether a Mac and its phones begin at the same of them, or each at another.
  bool isTogether = false;
  Speech speech = Speech::orvik;
  bool usesTLS = true;
  /// Introduces every connection with the PROXY protocol.
  bool introduces = false;
  unsigned phones = 1;
  /// Chooses identifiers, so that runs against one server do not meet.
  std::uint64_t run = 0;
  /// The pairings of this fleet: from this number on.
  std::size_t firstPairing = 0;
  std::size_t pairings = 0;
  std::size_t envelopeSize = 800;
  /// Connections that are being made at a time.
  std::size_t handshakes = 64;
};

/// Plain values that go through a socket between two processes of one program. Times are
/// nanoseconds of the steady clock, which all processes share.
struct Command {
  enum class Kind { connect, run, cut, outage };
  Kind kind;
  /// connect: how many pairings there shall be.
  std::size_t pairings = 0;
  /// run, and outage but for the beginning: when it begins and ends.
  std::int64_t begin = 0;
  std::int64_t end = 0;
  /// run: envelopes a second of the whole fleet; 0 sends the next when the last has arrived.
  double rate = 0;
  /// run: envelopes of one Mac on their way at a time, where `rate` is 0.
  unsigned window = 1;
  /// run: how often a second a phone of the fleet becomes active or ceases to be.
  double presenceRate = 0;
  /// cut: the connections come back within this time.
  std::int64_t jitter = 0;
  /// connect and cut: gives up when nothing has been accepted for so long.
  std::int64_t patience = 0;
};

struct Report {
  std::uint64_t accepted = 0;
  /// Attempts that ended before they were accepted.
  std::uint64_t refused = 0;
  /// Connections that ended without having been told to.
  std::uint64_t lost = 0;
  std::uint64_t sent = 0;
  /// Envelopes that phones have got.
  std::uint64_t delivered = 0;
  std::uint64_t presences = 0;
  std::int64_t lastAccepted = 0;
  /// outage: when the first connection ended, and when a Mac was last told of a change.
  std::int64_t firstLost = 0;
  std::int64_t lastPresence = 0;
  /// outage: Macs that know at its end how many of their phones are there.
  std::uint64_t informed = 0;
  /// run: from sending to receipt. Otherwise: from an attempt's beginning to its acceptance.
  Histogram latency;
  /// run: from a phone's change to its Mac. outage: from the first end to a Mac with fewer phones.
  Histogram presenceLatency;
  /// Why the first of the refused or lost ended.
  std::array<char, 96> trouble{};
};

[[nodiscard]] std::int64_t now();

/// The Macs and phones of one process, and what they do together. Single-threaded.
class Fleet {
 public:
  explicit Fleet(const FleetPlan& plan);
  [[nodiscard]] Report carryOut(const Command& command);

 private:
  struct Slot {
    std::unique_ptr<Client> client;
    std::int64_t begun = 0;
    std::int64_t saidAt = 0;
    unsigned attempts = 0;
    bool isAccepted = false;
    /// Mac: phones that have not got the last envelope; phone: whether it is active.
    unsigned outstanding = 0;
    /// Mac: phones that it was told of last.
    unsigned viewers = 0;
    /// Mac: when a phone of it changed; 0 when nothing is awaited.
    std::int64_t changedAt = 0;
    bool awaitsWriting = false;
  };
  struct Due {
    std::int64_t at;
    std::size_t slot;
    bool operator>(const Due& other) const { return at > other.at; }
  };

  void connectAll(const Command& command);
  void run(const Command& command);
  void cut(const Command& command);
  void outage(const Command& command);
  void awaitAccepted(std::size_t wanted, std::int64_t patience, bool isThrottled);

  void begin(std::size_t slot);
  void failed(std::size_t slot, const std::string& why);
  void turn(std::int64_t until);
  void beginDue(bool isThrottled);
  void serve(std::size_t slot);
  void heard(std::size_t slot, const Heard& heard);
  void heardPresence(Slot& mac, unsigned viewers);
  void settle(std::size_t slot);
  void watch(std::size_t slot);
  void publish(std::size_t mac);
  void toggle(std::size_t phone);
  void keepAlive();
  [[nodiscard]] std::size_t size() const { return 1U + plan.phones; }
  [[nodiscard]] std::size_t macOf(std::size_t slot) const { return slot - slot % size(); }
  [[nodiscard]] const Target& targetOf(std::size_t slot) const;
  [[nodiscard]] bool isInformed(std::size_t mac) const;

  FleetPlan plan;
  FileDescriptor events;
  SSLContext context;
  std::vector<Slot> slots;
  std::priority_queue<Due, std::vector<Due>, std::greater<>> due;
  std::string letter;
  Report report;
  std::size_t acceptedNow = 0;
  std::size_t connecting = 0;
  std::size_t members = 0;
  std::int64_t lastLook = 0;
  /// Envelopes from before are not counted.
  std::int64_t runBegin = 0;
  /// The next envelope goes out when the last has arrived.
  bool isClosedLoop = false;
  bool comesBack = false;
  std::mt19937_64 random;
};

}  // namespace orvik::load
