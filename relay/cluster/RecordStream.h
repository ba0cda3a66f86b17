#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "core/async/Clock.h"
#include "core/values/JSONValue.h"

namespace orvik {
class UntypedValue;
}

namespace orvik::relay {

/// The stream of NATS that records are kept in: how it is made, and how one that is there is told
/// from one that would lose them.
struct RecordStream {
  /// Its own, and what all its subjects begin with.
  std::string name;
  /// On how many servers of the engine it is; one that is there may be on more.
  std::int64_t replicas;
  /// What it may take; 0 for all that the engine has.
  std::int64_t bytes;
  /// For how long it keeps a record that nobody writes, at least.
  Clock::Duration recordTime;

  /// What the engine is asked for.
  [[nodiscard]] JSONValue config() const;
  /// Which of the stream's settings has another value than records need; empty when none has.
  [[nodiscard]] std::string unfit(const UntypedValue& config) const;
  /// Whether the stream itself says that it has what was written after this place.
  [[nodiscard]] bool hasTaken(const UntypedValue& answer, std::uint64_t after) const;
};

/// The error of an answer of the engine; a code of 0 where there is none.
struct StreamFailure {
  /// Errors by the numbers of the engine.
  enum Code : std::int64_t {
    none = 0,
    unheard = 503,
    resourcesExceeded = 10002,
    insufficientResources = 10023,
    memoryExceeded = 10028,
    noMessage = 10037,
    storageExceeded = 10047,
    nameInUse = 10058,
    noStream = 10059,
    subjectOverlap = 10065,
    wrongSequence = 10071,
    notStored = 10077,
    /// Not of the engine.
    notAcknowledged = -2,
  };

  std::int64_t code = none;
  std::string words{};

  [[nodiscard]] static StreamFailure in(const UntypedValue& answer, bool isUnheard);
  [[nodiscard]] bool isFull() const noexcept;
};

/// A whole number in an answer of the engine.
[[nodiscard]] std::int64_t integer(const UntypedValue& object, std::string_view key,
                                   std::int64_t otherwise);
/// A part of an answer; null where there is none.
[[nodiscard]] const UntypedValue& part(const UntypedValue& object, std::string_view key);
/// Whether so many of the servers with the stream are there that it can be written to.
[[nodiscard]] bool hasQuorum(const UntypedValue& cluster);

}  // namespace orvik::relay
