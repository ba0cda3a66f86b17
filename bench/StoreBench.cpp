// What keeping an alert costs the relay, with the disk that the temporary folder is on, and what it
// remembers of an identifier while somebody is connected.

#include <benchmark/benchmark.h>
#include <malloc.h>

#include <cstdlib>
#include <filesystem>
#include <future>
#include <semaphore>

#include "relay/SQLiteStore.h"
#include "relay/Switchboard.h"

namespace orvik::relay {
namespace {

namespace fs = std::filesystem;

constexpr std::size_t envelopeSize = 600;

Identifier identifierOf(std::uint64_t number) {
  Identifier identifier{};
  for (std::size_t i = 0; i < sizeof number; ++i) {
    identifier.at(i) = static_cast<std::uint8_t>(number >> (8 * i));
  }
  return identifier;
}

TokenHash tokenHash() { return TokenHash::from({}); }

SharedText envelope() {
  return framedText(R"({"t":"a","c":")" + std::string(envelopeSize, 'x') + "\"}");
}

struct Store {
  Store() {
    std::string name = (fs::temp_directory_path() / "orvik-bench-XXXXXX").string();
    if (mkdtemp(name.data()) == nullptr) {
      std::abort();
    }
    folder = name;
    store.emplace(folder / "relay.sqlite", limits, std::make_shared<SystemClock>(),
                  [](const std::string& line) { std::fprintf(stderr, "%s\n", line.c_str()); });
    claim(0);
  }
  Store(const Store&) = delete;
  Store& operator=(const Store&) = delete;
  ~Store() {
    store.reset();
    fs::remove_all(folder);
  }

  void claim(std::uint64_t number) {
    std::promise<void> done;
    store->claim(identifierOf(number), tokenHash(), [&done](const Claimed&) { done.set_value(); });
    done.get_future().wait();
  }
  void keep(std::uint64_t mac, std::function<void(bool)> then) {
    store->keep(identifierOf(mac), tokenHash(),
                {++number, epochSeconds(SystemClock().unixNow()), text}, std::move(then));
  }

  const Limits limits;
  const SharedText text = envelope();
  std::uint64_t number = 0;
  fs::path folder;
  std::optional<SQLiteStore> store;
};

/// Alerts of many Macs, so many at a time waiting for their commit.
void keepAlerts(benchmark::State& state) {
  Store store;
  const auto together = state.range(0);
  std::counting_semaphore<> room(together);
  for (auto _ : state) {
    room.acquire();
    store.keep(store.number % 1000, [&room](bool) { room.release(); });
  }
  for (std::int64_t i = 0; i < together; ++i) {
    room.acquire();
  }
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(keepAlerts)->Arg(1)->Arg(16)->Arg(256)->Arg(4096)->UseRealTime();

void findTwentyAlerts(benchmark::State& state) {
  Store store;
  for (int i = 0; i < 20; ++i) {
    std::promise<void> done;
    store.keep(0, [&done](bool) { done.set_value(); });
    done.get_future().wait();
  }
  for (auto _ : state) {
    std::promise<void> done;
    store.store->find(identifierOf(0), [&done](const Found&) { done.set_value(); });
    done.get_future().wait();
  }
}
BENCHMARK(findTwentyAlerts)->UseRealTime();

void findUnknown(benchmark::State& state) {
  Store store;
  for (auto _ : state) {
    std::promise<void> done;
    store.store->find(identifierOf(1), [&done](const Found&) { done.set_value(); });
    done.get_future().wait();
  }
}
BENCHMARK(findUnknown)->UseRealTime();

void claimNew(benchmark::State& state) {
  Store store;
  std::uint64_t number = 0;
  for (auto _ : state) {
    store.claim(++number);
  }
}
BENCHMARK(claimNew)->UseRealTime();

struct Silent final : Peer {
  bool mayClaim() override { return true; }
  void send(SharedText /*message*/) override {}
  void close(CloseReason /*reason*/) override {}
};

/// Bytes of the heap for each Mac that is connected, without and with a day full of alerts; and how
/// fast samples and alerts pass.
class Board {
 public:
  explicit Board(std::size_t macs) : peers(macs) {
    const std::size_t before = mallinfo2().uordblks;
    for (std::size_t i = 0; i < macs; ++i) {
      static_cast<void>(board.macArrived(identifierOf(i), tokenHash(), peers[i], Instant()));
    }
    run();
    bytesEach = static_cast<double>(mallinfo2().uordblks - before) / static_cast<double>(macs);
  }
  void run() {
    while (!calls.empty()) {
      for (const auto& call : std::exchange(calls, {})) {
        call();
      }
    }
  }

  /// Answers at once and keeps nothing, so that only the switchboard counts.
  struct NoStore final : RecordStore {
    void find(const Identifier&, std::function<void(Found)> then) override {
      then(Record{tokenHash()});
    }
    void claim(const Identifier&, const TokenHash&, std::function<void(Claimed)> then) override {
      then(std::nullopt);
    }
    void keep(const Identifier&, const TokenHash&, KeptAlert,
              std::function<void(bool)> then) override {
      then(true);
    }
    void revoke(const Identifier&, const TokenHash&, std::function<void(bool)> then) override {
      then(true);
    }
    void markTaken(const Identifier&, std::uint64_t) override {}
    void subscribe(const Identifier&, const TokenHash&, Subscription,
                   std::function<void(bool)> then) override {
      then(true);
    }
    void unsubscribe(const Identifier&, const std::string&) override {}
    [[nodiscard]] bool isDurable() const noexcept override { return true; }
    [[nodiscard]] StoreState state() const override { return {}; }
  };

  const Limits limits;
  NoStore store;
  std::vector<std::function<void()>> calls;
  Switchboard board{limits, store, [this](std::function<void()> call) { calls.push_back(call); },
                    [] { return std::int64_t{1'800'000'000}; }};
  std::vector<Silent> peers;
  double bytesEach = 0;
};

void forward(benchmark::State& state, const std::string& start) {
  Board board(1000);
  std::vector<Silent> phones(1000);
  for (std::size_t i = 0; i < phones.size(); ++i) {
    static_cast<void>(
        board.board.phoneArrived(identifierOf(i), tokenHash(), 0, phones[i], Instant()));
  }
  std::uint64_t count = 0;
  const SharedText sample =
      framedText(start + std::string(envelopeSize, 'x') + R"(","n":"","t":"s","v":1})");
  for (auto _ : state) {
    const std::size_t mac = ++count % 1000;
    board.board.forward(identifierOf(mac), board.peers[mac],
                        start.empty() ? framedText(R"({"t":"a","c":")" + std::to_string(count) +
                                                   std::string(envelopeSize, 'x') + "\"}")
                                      : sample);
    board.run();
  }
  state.counters["heap/Mac"] = board.bytesEach;
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK_CAPTURE(forward, sample, R"({"c":")");
BENCHMARK_CAPTURE(forward, alert, "");

}  // namespace
}  // namespace orvik::relay
