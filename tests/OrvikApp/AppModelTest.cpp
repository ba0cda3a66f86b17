#include <gmock/gmock.h>

#include <map>

#include "OrvikApp/AppModel.h"
#include "core/pairing/PairingStore.h"
#include "tests/OrvikApp/FakeDesktop.h"

namespace orvik {
namespace {

using namespace std::chrono_literals;
using relayState::Connecting;
using relayState::Online;
using relayState::Stopped;
using relayState::Waiting;
using testing::ElementsAre;
using Login = LoginItem::Status;

TEST(AppModel, RegistersItselfOnTheFirstLaunchOnly) {
  test::FakeDesktop desktop;
  const auto first = desktop.model();
  EXPECT_TRUE(first->isFirstLaunch());
  EXPECT_TRUE(first->launchAtLogin());
  EXPECT_EQ(first->macName(), "Mac");
  EXPECT_EQ(PairingStore::load(*desktop.secrets), first->pairing());

  desktop.system->loginStatus = Login::notRegistered;
  desktop.hostName = "Ada's laptop";
  const auto second = desktop.model();
  EXPECT_FALSE(second->isFirstLaunch());
  EXPECT_FALSE(second->launchAtLogin());
  EXPECT_EQ(second->macName(), "Ada's laptop");
  EXPECT_EQ(second->pairing(), first->pairing());
  EXPECT_EQ(desktop.links.back()->pairing, first->pairing());
  EXPECT_EQ(desktop.system->registrations, 1);
  EXPECT_EQ(AppModel::current(), second.get());
}

TEST(AppModel, APairingThatCannotBeReadIsNotReplaced) {
  test::FakeDesktop desktop;
  const Pairing stored = desktop.model()->pairing();
  desktop.secrets->canFind = false;
  EXPECT_THROW((void)desktop.model(), SecretStore::Unreadable);
  desktop.secrets->canFind = true;
  EXPECT_EQ(PairingStore::load(*desktop.secrets), stored);
}

TEST(AppModel, ShowsTheStateOfTheNewestLinkAndOfNoOther) {
  test::FakeDesktop desktop;
  const auto model = desktop.model();
  std::vector<RelayState> shown;
  QObject::connect(model.get(), &AppModel::stateChanged, [&] { shown.push_back(model->state()); });
  const auto report = [&](std::size_t link, const RelayState& state) {
    desktop.links[link]->report(state);
  };
  EXPECT_EQ(model->state(), RelayState(Stopped{}));
  model->connect();
  ASSERT_EQ(desktop.links.size(), 1U);
  report(0, Online{2});
  report(0, Online{2});
  model->disconnect();
  report(0, Waiting{1});
  model->connect();
  report(1, Connecting{});
  report(0, Stopped{});
  EXPECT_TRUE(model->sayGoodbye([] {}));
  model->disconnect();
  EXPECT_EQ(model->state(), RelayState(Connecting{}));
  report(1, Stopped{});
  EXPECT_THAT(shown, ElementsAre(Online{2}, Stopped{}, Connecting{}, Stopped{}));
}

TEST(AppModel, PausesForOneHour) {
  struct Case {
    const char* rule;
    /// What happens in which minute.
    std::vector<std::pair<int, const char*>> steps;
    /// The model is paused right before this minute, and runs from it on.
    int resumes;
    int shownEnd;
  };
  for (const Case& each :
       {Case{"one pause", {{0, "pause"}}, 60, 60},
        {"wake and connect do not end it", {{0, "pause"}, {9, "wake"}, {9, "connect"}}, 60, 60},
        {"the first timer of two runs out", {{0, "pause"}, {30, "pause"}}, 60, 90},
        {"it takes the second along", {{0, "pause"}, {30, "pause"}, {75, "pause"}}, 135, 135},
        {"resuming cancels", {{0, "pause"}, {10, "resume"}, {50, "pause"}}, 110, 110}}) {
    SCOPED_TRACE(each.rule);
    test::FakeDesktop desktop;
    const auto model = desktop.model();
    const auto start = desktop.clock->now();
    const auto advanceTo = [&](Clock::Duration time) {
      desktop.clock->advance(start + time - desktop.clock->now());
    };
    for (const auto& [minute, action] : each.steps) {
      advanceTo(minute * 1min);
      const std::map<std::string, std::function<void()>> actions{
          {"pause", [&] { model->pauseOneHour(); }},
          {"resume", [&] { model->resume(); }},
          {"connect", [&] { model->connect(); }},
          {"wake", [&] { desktop.system->wake(); }}};
      actions.at(action)();
    }
    advanceTo(each.resumes * 1min - 1ns);
    EXPECT_EQ(model->pausedUntil(), start + each.shownEnd * 1min);
    EXPECT_FALSE(desktop.isConnected());
    EXPECT_EQ(model->state(), RelayState(Stopped{}));
    advanceTo(each.resumes * 1min);
    EXPECT_FALSE(model->isPaused());
    EXPECT_TRUE(desktop.isConnected());
  }
}

TEST(AppModel, ReplacesThePairingAndConnectsUnlessPaused) {
  for (const bool isPaused : {false, true}) {
    for (const bool refuses : {false, true}) {
      test::FakeDesktop desktop;
      const auto model = desktop.model();
      const Pairing old = model->pairing();
      int changes = 0;
      QObject::connect(model.get(), &AppModel::pairingChanged, [&] { ++changes; });
      if (isPaused) {
        model->pauseOneHour();
      }
      desktop.secrets->canAdd = !refuses;
      model->disconnectAllPhones();
      EXPECT_EQ(desktop.links[0]->stops, 1);
      EXPECT_EQ(desktop.isConnected(), !isPaused);
      EXPECT_NE(model->pairing(), old);
      EXPECT_EQ(PairingStore::load(*desktop.secrets),
                refuses ? std::nullopt : std::optional(model->pairing()));
      EXPECT_EQ(changes, 1);
      model->resume();
      EXPECT_TRUE(desktop.isConnected());
      EXPECT_EQ(desktop.links.back()->pairing, model->pairing());
    }
  }
}

TEST(AppModel, SleepWaitsForTheGoodbyeAndWakingConnects) {
  test::FakeDesktop desktop;
  const auto model = desktop.model();
  desktop.system->wake();
  ASSERT_EQ(desktop.links.size(), 1U) << "waking while connected";
  const auto hold = desktop.system->sleep();
  EXPECT_EQ(desktop.links[0]->stops, 1);
  EXPECT_FALSE(hold.expired());
  std::exchange(desktop.links[0]->finishStop, nullptr)();
  EXPECT_TRUE(hold.expired());
  EXPECT_TRUE(desktop.system->sleep().expired()) << "nothing to say goodbye to";
  desktop.system->wake();
  EXPECT_TRUE(desktop.links.size() == 2 && desktop.isConnected());
  // The one that quitting waits for is said once.
  int goodbyes = 0;
  EXPECT_TRUE(model->sayGoodbye([&] { ++goodbyes; }));
  EXPECT_FALSE(model->sayGoodbye([&] { ++goodbyes; }));
  EXPECT_EQ(goodbyes, 0);
  desktop.links[1]->finishStop();
  EXPECT_EQ(goodbyes, 1);
  EXPECT_EQ(desktop.links[1]->stops, 1);
}

TEST(AppModel, WhatItBeganMayOutliveIt) {
  test::FakeDesktop desktop;
  auto model = desktop.model();
  model->pauseOneHour();
  model->resume();
  model->pauseOneHour();
  model.reset();
  EXPECT_EQ(AppModel::current(), nullptr);
  desktop.clock->advance(2h);
  desktop.links[0]->finishStop();
  desktop.links[1]->report(Online{1});
  EXPECT_TRUE(desktop.system->sleep().expired());
  desktop.system->wake();
  EXPECT_EQ(desktop.links.size(), 2U);

  model = desktop.model();
  bool isOver = false;
  EXPECT_TRUE(model->sayGoodbye([&] { isOver = true; }));
  model.reset();
  desktop.links.back()->finishStop();
  EXPECT_TRUE(isOver);
}

TEST(AppModel, ItsSwitchShowsWhatTheSystemDid) {
  struct Case {
    Login before;
    bool write;
    bool refuses;
    int registrations;
    std::vector<bool> shown;
  };
  for (const Case& each : {Case{Login::notRegistered, true, false, 1, {true}},
                           {Login::enabled, false, true, 1, {false, true}},
                           {Login::notFound, true, true, 1, {true, false}},
                           {Login::notRegistered, false, false, 0, {}},
                           {Login::requiresApproval, true, false, 0, {}}}) {
    test::FakeDesktop desktop;
    ASSERT_TRUE(PairingStore::save(*desktop.secrets, Pairing::generate()));
    desktop.system->loginStatus = each.before;
    const auto model = desktop.model();
    std::vector<bool> shown;
    QObject::connect(model.get(), &AppModel::launchAtLoginChanged,
                     [&] { shown.push_back(model->launchAtLogin()); });
    desktop.system->refuses = each.refuses;
    model->setLaunchAtLogin(each.write);
    EXPECT_EQ(desktop.system->registrations, each.registrations);
    EXPECT_EQ(shown, each.shown);
    EXPECT_EQ(model->launchAtLogin(), model->isRegistered());
  }
}

}  // namespace
}  // namespace orvik
