#pragma once

#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "OrvikApp/AppModel.h"
#include "tests/support/MemorySecretStore.h"

namespace orvik::test {

/// Time that stands still until a test moves it.
class FakeClock final : public ModelClock {
 public:
  [[nodiscard]] Clock::UnixTime now() const override { return time; }
  [[nodiscard]] std::shared_ptr<Task> after(Clock::Duration duration,
                                            std::function<void()> action) override {
    auto alarm = std::make_shared<Alarm>();
    alarm->action = std::move(action);
    alarms.emplace(time + duration, alarm);
    return alarm;
  }
  void advance(Clock::Duration duration) {
    const Clock::UnixTime end = time + duration;
    while (!alarms.empty() && alarms.begin()->first <= end) {
      const auto due = alarms.extract(alarms.begin());
      time = due.key();
      if (due.mapped()->action) {
        due.mapped()->action();
      }
    }
    time = end;
  }

 private:
  struct Alarm final : Task {
    void cancel() override { action = nullptr; }
    std::function<void()> action;
  };
  Clock::UnixTime time{std::chrono::seconds(1'800'000'000)};
  std::multimap<Clock::UnixTime, std::shared_ptr<Alarm>> alarms;
};

/// A login item, and the power events of a machine.
struct FakeSystem final : LoginItem, PowerEvents {
  [[nodiscard]] Status status() const override { return loginStatus; }
  bool setRegistered(bool registered) override {
    ++registrations;
    if (!refuses) {
      loginStatus = registered ? Status::enabled : Status::notRegistered;
    }
    return !refuses;
  }

  [[nodiscard]] Observer onWillSleep(std::function<void(const SleepHold&)> action) override {
    willSleep = std::move(action);
    return nullptr;
  }
  [[nodiscard]] Observer onDidWake(std::function<void()> action) override {
    wake = std::move(action);
    return nullptr;
  }
  /// What is returned is there for as long as the sleep is held back.
  [[nodiscard]] std::weak_ptr<void> sleep() const {
    const SleepHold hold = std::make_shared<int>();
    willSleep(hold);
    return hold;
  }

  Status loginStatus = Status::notRegistered;
  int registrations = 0;
  bool refuses = false;
  std::function<void(const SleepHold&)> willSleep;
  std::function<void()> wake;
};

/// A link that does what a test says, and remembers what was asked of it.
struct FakeLink final : RelayLink {
  explicit FakeLink(const Pairing& pairing) : pairing(pairing) {}
  void start() override { isStarted = true; }
  void stop(std::function<void()> stopped) override {
    ++stops;
    finishStop = std::move(stopped);
  }
  [[nodiscard]] bool isRunning() const { return isStarted && stops == 0; }

  const Pairing pairing;
  std::function<void(const RelayState&)> report;
  bool isStarted = false;
  int stops = 0;
  std::function<void()> finishStop;
};

/// All that a model needs.
struct FakeDesktop {
  [[nodiscard]] std::unique_ptr<AppModel> model() {
    return std::make_unique<AppModel>(
        AppModel::Dependencies{[this](const Pairing& pairing, auto onState) {
                                 links.push_back(std::make_shared<FakeLink>(pairing));
                                 links.back()->report = std::move(onState);
                                 return links.back();
                               },
                               secrets, system, system, clock, hostName});
  }
  /// The newest link runs.
  [[nodiscard]] bool isConnected() const { return links.back()->isRunning(); }

  std::shared_ptr<FakeClock> clock = std::make_shared<FakeClock>();
  std::shared_ptr<FakeSystem> system = std::make_shared<FakeSystem>();
  std::shared_ptr<MemorySecretStore> secrets = std::make_shared<MemorySecretStore>();
  std::optional<std::string> hostName;
  std::vector<std::shared_ptr<FakeLink>> links;
};

}  // namespace orvik::test
