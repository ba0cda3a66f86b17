#include <gtest/gtest.h>

#include <map>
#include <numeric>
#include <thread>

#include "core/BuildConstants.h"
#include "core/pairing/PairingKeeper.h"
#include "core/pairing/PairingStore.h"
#include "tests/support/ManualClock.h"
#include "tests/support/MemorySecretStore.h"
#include "tests/support/Scenarios.h"
#include "tests/support/TemporaryFolder.h"

namespace orvik {
namespace {

using namespace std::chrono_literals;
using State = test::MemorySecretStore::State;
using Text = const std::string&;

const SecretStore::Key key{.service = build::applicationId, .account = "pairing"};

struct MemoryDefaults final : UserDefaults {
  std::optional<std::string> data(std::string_view name) const override {
    const auto found = values.find(std::string(name));
    return found == values.end() ? std::nullopt : std::optional(found->second);
  }
  bool isReadable() const override { return !isDamaged; }
  bool set(std::string_view name, std::string_view bytes) override {
    if (isWritable) {
      beforeChange();
      values[std::string(name)] = bytes;
      isDamaged = false;
    }
    return isWritable;
  }
  std::function<void()> beforeChange = [] {};
  std::map<std::string, std::string> values;
  std::atomic<bool> isWritable = true;
  std::atomic<bool> isDamaged = false;
};

/// The program ends in the middle of what it does.
struct Killed {};

/// A keyring and a file, the programs that keep a pairing there, and a user.
class Account {
 public:
  Account() {
    keyring->beforeChange = file->beforeChange =
        mark->beforeChange = [turn = turn, steps = stepsToLive] {
          if (*steps) {
            EXPECT_FALSE(AccountLock(turn, "other").tryTake()) << "another program could interfere";
            if ((**steps)-- == 0) {
              throw Killed();
            }
          }
        };
  }
  ~Account() {
    keepers.clear();
    context.reset();
  }

  std::string perform(const std::string& line) {
    log.clear();
    const std::size_t blank = std::min(line.find(' '), line.size());
    actions.at(line.substr(0, blank))(line.substr(std::min(blank + 1, line.size())));
    return log;
  }

 private:
  void note(const std::string& entry) { log += (log.empty() ? "" : ", ") + entry; }
  std::string letter(const Pairing& pairing) {
    const auto found = std::ranges::find(pairings, pairing);
    const auto index = static_cast<std::size_t>(found - pairings.begin());
    if (found == pairings.end()) {
      pairings.push_back(pairing);
    }
    return {static_cast<char>('A' + index)};
  }
  /// A, B, …: always the same for each letter.
  Pairing pairing(Text name) {
    while (pairings.size() <= static_cast<std::size_t>(name.at(0) - 'A')) {
      pairings.push_back(Pairing::generate());
    }
    return pairings[static_cast<std::size_t>(name[0] - 'A')];
  }
  test::MemorySecretStore& place(Text name) { return name == "file" ? *file : *keyring; }
  std::string content(test::MemorySecretStore& place) {
    std::string letters;
    for (const auto& item : place.content()) {
      const ByteView data = item.data;
      EXPECT_EQ(std::pair(item.key.service, item.key.account), std::pair(key.service, key.account));
      EXPECT_EQ(item.label, "Orvik pairing");
      letters += data.size() == 48 ? letter(Pairing(data.first<16>(), data.last<32>())) : "?";
    }
    return letters.empty() ? "none" : letters;
  }

  void set(test::MemorySecretStore& place, Text what) {
    const std::map<std::string, State> states{{"locked", State::locked},
                                              {"unreadable", State::unreadable},
                                              {"absent", State::absent},
                                              {"open", State::readable}};
    if (what == "full" || what == "empty") {
      place.isWritable = what == "empty";
    } else if (what.starts_with("has")) {
      Bytes data(what == "has 47" ? 47 : what == "has 49" ? 49 : 0);
      if (data.empty()) {
        const Pairing it = pairing(what.substr(4));
        data.assign(it.macId().begin(), it.macId().end());
        data.insert(data.end(), it.secret().data().begin(), it.secret().data().end());
      }
      place.setContent({{key, "Orvik pairing", data}});
    } else {
      place.state = states.at(what);
    }
  }
  void load() {
    const auto answer = store->load();
    if (const auto* found = std::get_if<PairingStore::Found>(&answer)) {
      note(letter(found->pairing) + (found->isSettled ? "" : " for now"));
    } else if (const auto* unclear = std::get_if<PairingStore::NotReadable>(&answer)) {
      note(unclear->isLocked ? "locked" : "unreadable");
    } else {
      note("none");
    }
  }
  char letterOf(const RetiredPairing& retired) {
    const auto found = std::ranges::find(pairings, retired.macId(), &Pairing::macId);
    EXPECT_EQ(retired, RetiredPairing(*found));
    return static_cast<char>('A' + (found - pairings.begin()));
  }
  /// ACTION[; ACTION]: the first is cut short before its first change, its second, and so on; what
  /// is loaded thereafter, and who would be told that he was replaced.
  void cut(Text what) {
    const std::size_t end = std::min(what.find("; "), what.size());
    const auto restore = [this, inKeyring = keyring->content(), inFile = file->content(),
                          inMark = mark->values, state = keyring->state.load()] {
      keyring->setContent(inKeyring);
      file->setContent(inFile);
      mark->values = inMark;
      keyring->state = state;
    };
    std::string outcomes;
    bool isOver = false;
    for (int steps = 0; !isOver; ++steps) {
      *stepsToLive = steps;
      try {
        perform(what.substr(0, end));
        isOver = true;
      } catch (const Killed&) {
      }
      stepsToLive->reset();
      if (end < what.size()) {
        perform(what.substr(end + 2));
      }
      log.clear();
      load();
      const auto retired = store->retired();
      outcomes += (steps == 0 ? "" : ", ") + log +
                  (retired.empty() ? "" : "-" + std::string(1, letterOf(retired.back())));
      restore();
    }
    log = outcomes;
  }
  void replace(Text by) {
    const auto done = store->replace(pairing(by));
    note(std::string(done.isKept ? "kept" : "not kept") + (done.isLasting ? "" : ", not lasting"));
  }

  void tell(const PairingNews& news) {
    using Waits = PairingNews::WaitsFor;
    heard += heard.empty() ? "" : "; ";
    heard += std::string(news.pairing ? letter(*news.pairing) : "no pairing") +
             (news.isNew ? ", new" : "") + (news.isKept ? "" : ", not kept") +
             (news.isLasting ? "" : ", not lasting") + (news.isAsking ? ", asking" : "") +
             (news.waitsFor == Waits::keyring ? ", waits for the keyring" : "") +
             (news.waitsFor == Waits::otherProgram
                  ? ", waits for " + news.otherProgram.substr(0, news.otherProgram.find(','))
                  : "");
  }
  std::shared_ptr<PairingStore> newStore() {
    return std::make_shared<PairingStore>(PairingStore::Places{keyring, file}, mark, turn);
  }
  void start(Text program) {
    const auto lock = std::make_shared<AccountLock>(folder.path / "lock", program);
    const auto retire = [this](const RetiredPairing& retired, const std::function<void()>& told) {
      heard += (heard.empty() ? "" : "; ") + std::string(1, letterOf(retired)) + " is retired";
      told();
    };
    keepers[program] = std::make_shared<PairingKeeper>(
        context->get_executor(), clock, newStore(), lock,
        [this](const PairingNews& news) { tell(news); }, retire);
    keepers[program]->start();
  }
  /// Lets time go by, but slowly enough for the threads that work for the keepers.
  template <typename Condition>
  void pass(Clock::Duration time, Condition isOver) {
    constexpr auto step = 100ms;
    for (auto passed = 0ms; passed <= time && !isOver(); passed += step) {
      clock->settle();
      std::this_thread::sleep_for(500us);
      clock->settle();
      if (!isOver()) {
        clock->advance(step);
      }
    }
  }
  void await(Text expected) {
    pass(5min, [&] { return heard == expected; });
    note(std::exchange(heard, {}));
  }

  const std::map<std::string, std::function<void(Text)>> actions{
      {"keyring", [this](Text what) { set(*keyring, what); }},
      {"file", [this](Text what) { set(*file, what); }},
      {"preferences",
       [this](Text what) {
         mark->isWritable = what != "full";
         mark->isDamaged = what == "damaged";
       }},
      {"user", [this](Text what) { keyring->isOpening = what == "unlocks"; }},
      {"load", [this](Text) { load(); }},
      {"replace", [this](Text by) { replace(by); }},
      {"cut", [this](Text what) { cut(what); }},
      {"content", [this](Text where) { note(content(place(where))); }},
      {"start", [this](Text program) { start(program); }},
      {"disconnect", [this](Text program) { keepers.at(program)->replace(); }},
      {"prompts", [this](Text) { note(std::to_string(keyring->prompts)); }},
      {"after", [this](Text seconds) { pass(1s * std::stoi(seconds), [] { return false; }); }},
      {"keeps",
       [this](Text what) {
         // PLACE PAIRING: sooner or later.
         auto& in = place(what.substr(0, what.find(' ')));
         const std::string wanted = what.substr(what.find(' ') + 1);
         pass(10min, [&] { return content(in) == wanted; });
         note(content(in));
       }},
      {"hear", [this](Text what) { await(what); }}};

  std::string log;
  /// News since they were last listened to.
  std::string heard;
  test::TemporaryFolder folder;
  const std::filesystem::path turn = folder.path / "turn";
  /// How many changes the program still makes, if it is to be killed.
  const std::shared_ptr<std::optional<int>> stepsToLive = std::make_shared<std::optional<int>>();
  std::unique_ptr<asio::io_context> context = std::make_unique<asio::io_context>();
  const std::shared_ptr<test::ManualClock> clock = std::make_shared<test::ManualClock>(*context);
  const std::shared_ptr<test::MemorySecretStore> keyring =
      std::make_shared<test::MemorySecretStore>("keyring");
  const std::shared_ptr<test::MemorySecretStore> file =
      std::make_shared<test::MemorySecretStore>("file");
  const std::shared_ptr<MemoryDefaults> mark = std::make_shared<MemoryDefaults>();
  const std::shared_ptr<PairingStore> store = newStore();
  std::map<std::string, std::shared_ptr<PairingKeeper>> keepers;
  std::vector<Pairing> pairings;
};

TEST(PairingStore, DoesWhatTheScenariosSay) {
  EXPECT_EQ(test::expectScenarios<Account>("pairing/places.txt"), 155);
}

}  // namespace
}  // namespace orvik
