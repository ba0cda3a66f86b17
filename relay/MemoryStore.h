#pragma once

#include <list>
#include <map>
#include <memory>
#include <mutex>

#include "core/async/Clock.h"
#include "relay/Limits.h"
#include "relay/RecordStore.h"

namespace orvik::relay {

/// Keeps everything in memory, so nothing is safe. The records longest out of use go when there is
/// no room; alerts for which there is none are not kept. Answers before a call returns.
class MemoryStore final : public RecordStore {
 public:
  /// `limits` outlive the store.
  MemoryStore(const Limits& limits, std::shared_ptr<Clock> clock);

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
  [[nodiscard]] bool isDurable() const noexcept override { return false; }
  [[nodiscard]] StoreState state() const override;

 private:
  struct Entry {
    Record record;
    /// Its place in `byUse`.
    std::list<Identifier>::iterator use;
  };

  /// The entry, trimmed and now the latest used; null when there is none.
  Entry* use(const Identifier& identifier);
  Entry& claimed(const Identifier& identifier, const TokenHash& token);
  /// Changes the record by `change`, and counts what it takes before and after.
  template <typename Change>
  void change(Record& record, Change change);
  void trim(Record& record);

  const Limits& limits;
  const std::shared_ptr<Clock> clock;
  const std::uint64_t first;
  mutable std::mutex mutex;
  std::map<Identifier, Entry> entries;
  /// The longest unused one first.
  std::list<Identifier> byUse;
  /// A half of the memory for each: subscriptions live longer than alerts, and would take all.
  std::size_t alertBytes = 0;
  std::size_t subscriptionBytes = 0;
  std::uint64_t subscriptions = 0;
};

}  // namespace orvik::relay
