#pragma once

#include <gmock/gmock.h>

#include <atomic>
#include <future>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "relay/RecordStore.h"
#include "tests/support/TemporaryFolder.h"

namespace orvik::relay {

using namespace std::chrono_literals;

/// Unix time as a test wants it, for two threads.
struct SetClock final : Clock {
  [[nodiscard]] Instant now() const override { return SystemClock().now(); }
  [[nodiscard]] UnixTime unixNow() const override { return UnixTime(unix.load()); }
  asio::awaitable<void> sleepUntil(Instant) override { co_return; }
  std::atomic<UnixTime::duration> unix{1'800'000'000s};
};

/// A store that outlives the process, asked and answered in one thread.
class StoreTest : public testing::Test {
 protected:
  using Log = std::function<void(const std::string&)>;

  /// What is tested, over what an earlier one has left.
  virtual std::unique_ptr<RecordStore> opened(Log log) = 0;

  void reopen() {
    store.reset();
    store = opened([this](const std::string& line) {
      const std::lock_guard guard(mutex);
      log += line + "\n";
    });
  }

  static Identifier identifier(char name) {
    Identifier made{};
    made.fill(static_cast<std::uint8_t>(name));
    return made;
  }
  static TokenHash token(char name) {
    const Bytes bytes(TokenHash::tokenSize, static_cast<std::uint8_t>(name));
    return TokenHash(std::span(bytes).first<TokenHash::tokenSize>());
  }

  Found find(char name) {
    return answer<Found>([&](auto then) { store->find(identifier(name), then); });
  }
  Claimed claim(char name, char owner) {
    return answer<Claimed>([&](auto then) { store->claim(identifier(name), token(owner), then); });
  }
  bool keep(char name, char owner, std::uint64_t number, std::size_t size = 0) {
    const std::int64_t now = epochSeconds(clock->unixNow());
    const std::string text =
        R"({"t":"a","i":)" + std::to_string(number) + R"(,"c":")" + std::string(size, 'x') + "\"}";
    const KeptAlert alert{number, now, framedText(text)};
    return answer<bool>(
        [&](auto then) { store->keep(identifier(name), token(owner), alert, then); });
  }
  bool revoke(char name, char owner) {
    return answer<bool>([&](auto then) { store->revoke(identifier(name), token(owner), then); });
  }
  /// Asks until the answer is another than that the store can do nothing.
  bool claimOnceItWorks(char name, char owner) {
    const auto end = std::chrono::steady_clock::now() + 20s;
    while (std::chrono::steady_clock::now() < end) {
      if (claim(name, owner)) {
        return true;
      }
    }
    return false;
  }
  bool subscribe(char name, char owner, const std::string& endpoint, std::uint8_t key = 4) {
    Subscription made{.endpoint = endpoint, .usedAt = epochSeconds(clock->unixNow())};
    made.key.fill(key);
    made.secret.fill(7);
    return answer<bool>(
        [&](auto then) { store->subscribe(identifier(name), token(owner), made, then); });
  }
  /// What is kept of each, with the first byte of its key.
  std::string subscriptions(char name) {
    const Record record = std::get<Record>(find(name));
    std::string all;
    for (const Subscription& each : record.subscriptions) {
      EXPECT_EQ(each.secret.back(), 7);
      all += " " + each.endpoint + std::to_string(each.key.back());
    }
    return all;
  }
  std::vector<std::uint64_t> numbers(char name) {
    std::vector<std::uint64_t> all;
    const Found found = find(name);
    if (const auto* const record = std::get_if<Record>(&found)) {
      for (const KeptAlert& alert : record->alerts) {
        all.push_back(alert.number);
      }
    }
    return all;
  }
  std::string takeLog() {
    const std::lock_guard guard(mutex);
    return std::exchange(log, {});
  }

  Limits limits;
  const std::shared_ptr<SetClock> clock = std::make_shared<SetClock>();
  std::mutex mutex;
  std::string log;
  std::unique_ptr<RecordStore> store;

 private:
  template <typename Answer, typename Ask>
  Answer answer(Ask ask) {
    const auto promise = std::make_shared<std::promise<Answer>>();
    ask([promise](Answer given) { promise->set_value(std::move(given)); });
    return promise->get_future().get();
  }
};

}  // namespace orvik::relay
