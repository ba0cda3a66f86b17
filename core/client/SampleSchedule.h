#pragma once

#include <optional>

#include "core/async/Clock.h"
#include "core/client/Presence.h"

namespace orvik {

/// Decides when a sample goes out over one connection, and what goes with it: at once when a phone
/// joins or begins to show the computer, then every 2 s while one shows it and every 30 s while
/// none does. Nothing without a viewer.
class SampleSchedule {
 public:
  /// A sample that is due. Given back to `taken` and `sent` as it is carried out.
  struct Due {
    /// The counts that it answers.
    Presence presence;
    /// Machine information is wanted: a phone joined, or the last one is 600 s old.
    bool withMacInfo = false;
    /// The history goes along. Never together with machine information, to keep messages small.
    bool withHistory = false;
    /// The history is still owed after this sample.
    bool historyPending = false;
  };

  /// Decisions are made on ticks of this length, counted from the end of the last decision.
  static constexpr std::chrono::milliseconds tick{200};

  /// What is due now, if anything.
  [[nodiscard]] std::optional<Due> decide(Presence presence, Instant now);
  /// The sample was taken at `now`.
  void taken(const Due& due, Instant now);
  /// The sample went out.
  void sent(const Due& due);

  /// The first tick after `now` at which a sample may be due without a change of presence.
  /// Nothing when only a change can make one due.
  [[nodiscard]] std::optional<Instant> nextDecision(Presence presence, Instant now) const;
  /// The first tick after `now`, counted from the decision that ended at `decided`.
  [[nodiscard]] static Instant tickAfter(Instant decided, Instant now);

 private:
  std::optional<Instant> lastSent;
  std::optional<Instant> lastFull;
  Presence sentPresence;
  bool historyPending = false;
};

}  // namespace orvik
