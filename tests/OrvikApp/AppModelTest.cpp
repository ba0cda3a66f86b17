// The application's model and its way to the end, on a desktop that does what a scenario says.

#include <gtest/gtest.h>

#include <QAbstractButton>
#include <QApplication>
#include <QEvent>
#include <QTimer>
#include <csignal>
#include <map>

#include "OrvikApp/AddPhone.h"
#include "OrvikApp/AppModel.h"
#include "OrvikApp/CoreModelClock.h"
#include "OrvikApp/CoreThread.h"
#include "OrvikApp/QuitRequests.h"
#include "OrvikApp/TerminationSignals.h"
#include "OrvikApp/Texts.h"
#include "tests/support/EventLoop.h"
#include "tests/support/ManualClock.h"
#include "tests/support/Scenarios.h"

namespace orvik {
namespace {

using namespace std::chrono_literals;
using Text = const std::string&;

struct Link final : RelayLink {
  void start() override { note("starts"); }
  void stop(std::function<void()> stopped) override {
    note("stops");
    finish = std::move(stopped);
  }

  std::function<void(Text)> note;
  std::function<void(const RelayState&)> report;
  std::function<void()> finish;
};

class Desktop final : public LoginItem, public PowerEvents, public PairingSource {
 public:
  /// Carries out an action and gives what happened meanwhile.
  std::string perform(const std::string& line) {
    log.clear();
    const std::size_t blank = std::min(line.find(' '), line.size());
    actions.at(line.substr(0, blank))(line.substr(std::min(blank + 1, line.size())));
    clock->settle();
    QCoreApplication::processEvents();
    EXPECT_EQ(AppModel::current(), model.get());
    return log;
  }

 private:
  void note(const std::string& entry) { log += (log.empty() ? "" : ", ") + entry; }
  std::string letter(const Pairing& pairing) {
    const auto found = std::ranges::find(pairings, pairing);
    const auto index = found - pairings.begin();
    if (found == pairings.end()) {
      pairings.push_back(pairing);
    }
    return {static_cast<char>('A' + index)};
  }
  void noteSwitch() { note(model->launchAtLogin() ? "switch on" : "switch off"); }
  void noteState() {
    note(std::ranges::find(states, model->state(), [](auto& it) { return it.second; })->first);
  }
  void notePause() {
    using Minutes = std::chrono::duration<int, std::ratio<60>>;
    note(!model->isPaused()
             ? "not paused"
             : "paused until " +
                   std::to_string(
                       std::chrono::round<Minutes>(*model->pausedUntil() - zero).count()));
  }

  [[nodiscard]] Status status() const override { return loginStatus; }
  bool setRegistered(bool registered) override {
    note(registered ? "registers" : "unregisters");
    loginStatus = refuses ? loginStatus : registered ? Status::enabled : Status::notRegistered;
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

  std::shared_ptr<RelayLink> makeLink(const Pairing& pairing,
                                      std::function<void(const RelayState&)> onState) {
    auto link = std::make_shared<Link>();
    link->note = [this, number = std::to_string(links.size()),
                  letter = letter(pairing)](Text what) {
      note("link " + number + " " + what + (what == "starts" ? " with " + letter : ""));
    };
    link->report = std::move(onState);
    links.push_back(link);
    return link;
  }
  void launch() {
    const std::shared_ptr<Desktop> self(std::shared_ptr<void>(), this);
    model.reset();
    model = std::make_unique<AppModel>(AppModel::Dependencies{
        [this](const Pairing& pairing, auto onState) { return makeLink(pairing, onState); }, self,
        self, self, std::make_shared<CoreModelClock>(context.get_executor(), clock), hostName,
        linkHost});
    QObject::connect(model.get(), &AppModel::stateChanged, [this] { noteState(); });
    QObject::connect(model.get(), &AppModel::pausedUntilChanged, [this] { notePause(); });
    QObject::connect(model.get(), &AppModel::pairingChanged, [this] {
      note(model->pairing() ? "pairing " + letter(*model->pairing()) : "no pairing");
    });
    QObject::connect(model.get(), &AppModel::launchAtLoginChanged, [this] { noteSwitch(); });
    note(model->macName());
    noteSwitch();
  }
  void start(std::function<void(const PairingNews&)> onNews) override {
    tellNews = std::move(onNews);
  }
  void replace() override {
    ++replacements;
    note("replaces");
  }
  void unlock() override { note("asks for the keyring"); }
  /// "A", "A new", "A new unkept", "A elsewhere", "A late", "locked", "none".
  void hear(Text what) {
    PairingNews news;
    news.replacements = what.ends_with("late") ? 0 : replacements;
    if (what == "locked" || what == "asking") {
      news.waitsFor = PairingNews::WaitsFor::keyring;
      news.isAsking = what == "asking";
    } else if (what == "elsewhere") {
      news.waitsFor = PairingNews::WaitsFor::otherProgram;
      news.otherProgram = "agent, process 1";
    } else if (what != "none") {
      while (pairings.size() <= static_cast<std::size_t>(what[0] - 'A')) {
        pairings.push_back(Pairing::generate());
      }
      news.pairing = pairings[static_cast<std::size_t>(what[0] - 'A')];
      news.isNew = what.find(" new") != std::string::npos;
      news.isFirst = news.isNew;
      news.isKept = !what.ends_with("unkept");
      news.waitsFor = what.ends_with("elsewhere") ? PairingNews::WaitsFor::otherProgram
                                                  : PairingNews::WaitsFor::nothing;
    }
    tellNews(news);
    if (model && model->isFirstLaunch()) {
      note("first launch");
    }
  }
  void addPhone() {
    if (!adding) {
      adding = std::make_unique<AddPhone>(
          *model, texts,
          AddPhone::Actions{.showCode = [this] { note("code"); },
                            .chooseRelay = [this] { note("asks for the relay"); }});
    }
    adding->begin();
  }
  /// What stands before the user; with the text of a button, that is pressed.
  void lookAtBox(Text button) {
    for (QWidget* const widget : QApplication::topLevelWidgets()) {
      auto* const box = qobject_cast<QMessageBox*>(widget);
      if (box == nullptr || !box->isVisible()) {
        continue;
      }
      note(button.empty() ? box->text().toStdString() : "presses " + button);
      for (QAbstractButton* const one : box->buttons()) {
        if (one->text().toStdString() == button) {
          return one->click();
        }
      }
    }
  }
  void sleep() {
    const SleepHold hold(&log, [this](auto*) { note("sleeps"); });
    willSleep(hold);
  }

  /// The hold is far longer than a test waits, the time until a session goes on is over at once.
  [[nodiscard]] std::unique_ptr<QuitRequests> quitRequests(QuitRequests::Times times) {
    return std::make_unique<QuitRequests>([this] { note("ends"); }, times);
  }
  void receive(Text signal) {
    if (!thread) {
      thread = std::make_unique<CoreThread>();
      onTerminationSignal(thread->executor(), [this] { ++signals, requests->requestQuit(); });
    }
    kill(getpid(), std::stoi(signal));
    EXPECT_TRUE(test::eventually([this] { return std::exchange(signals, 0) == 1; }));
  }
  void endSession(Text how) {
    QTimer::singleShot(0, [this, how] {
      if (how == "quit") {
        requests->requestQuit();
      }
      if (how != "mute") {
        note("finished");
        links.back()->finish();
      }
    });
    requests->prepareForSessionEnd();
    note("session ends");
    EXPECT_TRUE(how != "" || test::eventually([this] { return log.ends_with("with A"); }));
  }
  void askToQuit() {
    const bool now = requests->answer([this] { note("allowed"); }) == TerminateReply::now;
    note(now ? "now" : "later");
  }

  const std::map<std::string, RelayState> states{{"online", relayState::Online{2}},
                                                 {"waiting", relayState::Waiting{1}},
                                                 {"connecting", relayState::Connecting{}},
                                                 {"stopped", relayState::Stopped{}}};
  const std::map<std::string, Status> statuses{{"notRegistered", Status::notRegistered},
                                               {"notFound", Status::notFound},
                                               {"requiresApproval", Status::requiresApproval}};
  const std::map<std::string, std::function<void(Text)>> actions{
      {"launch", [this](Text) { launch(); }},
      {"close",
       [this](Text) {
         adding.reset();
         model.reset();
       }},
      {"add-phone", [this](Text) { addPhone(); }},
      {"box", [this](Text button) { lookAtBox(button); }},
      {"after",
       [this](Text minutes) {
         clock->advance(std::chrono::round<std::chrono::milliseconds>(
             std::chrono::duration<double, std::ratio<60>>(std::stod(minutes))));
       }},
      // The user.
      {"connect", [this](Text) { model->connect(); }},
      {"disconnect", [this](Text) { model->disconnect(); }},
      {"pause", [this](Text) { model->pauseOneHour(); }},
      {"resume", [this](Text) { model->resume(); }},
      {"renew", [this](Text) { model->disconnectAllPhones(); }},
      {"switch", [this](Text to) { model->setLaunchAtLogin(to == "on"); }},
      {"goodbye",
       [this](Text) {
         if (!model->sayGoodbye([this] { note("goodbye over"); })) {
           note("nothing to say");
         }
       }},
      // The links.
      {"report", [this](Text text) { links.at(stoul(text))->report(states.at(text.substr(2))); }},
      {"finish", [this](Text link) { std::exchange(links.at(stoul(link))->finish, nullptr)(); }},
      // The system.
      {"sleep", [this](Text) { sleep(); }},
      {"wake", [this](Text) { wake(); }},
      {"name", [this](Text name) { hostName = name; }},
      {"status", [this](Text name) { loginStatus = statuses.at(name); }},
      {"system", [this](Text how) { refuses = how == "refuses"; }},
      {"news", [this](Text what) { hear(what); }},
      {"no-relay", [this](Text) { linkHost.clear(); }},
      {"relay", [this](Text host) { model->useRelay(host); }},
      {"link",
       [this](Text) {
         const QString link = QString::fromStdString(model->link().text());
         note(link.isEmpty() ? "none" : link.section(QLatin1Char('/'), 0, 3).toStdString());
       }},
      // The end.
      {"signal", [this](Text number) { receive(number); }},
      {"quit", [this](Text) { requests->requestQuit(); }},
      {"quit-event",
       [](Text) {
         QEvent quit(QEvent::Quit);
         QCoreApplication::sendEvent(qGuiApp, &quit);
         EXPECT_TRUE(quit.isAccepted());
       }},
      {"ask", [this](Text) { askToQuit(); }},
      {"impatient",
       [this](Text) {
         requests = quitRequests({10ms, 1h});
       }},
      {"end-session", [this](Text how) { endSession(how); }}};

  std::string log;
  asio::io_context context;
  const std::shared_ptr<test::ManualClock> clock = std::make_shared<test::ManualClock>(context);
  const Clock::UnixTime zero = clock->unixNow();
  std::function<void(const PairingNews&)> tellNews;
  std::uint64_t replacements = 0;
  std::string linkHost = "orvik.example";
  std::optional<std::string> hostName;
  Status loginStatus = Status::notRegistered;
  bool refuses = false;
  std::vector<Pairing> pairings;
  std::function<void(const SleepHold&)> willSleep;
  std::function<void()> wake;
  std::vector<std::shared_ptr<Link>> links;
  std::unique_ptr<QuitRequests> requests = quitRequests({1h, 1ms});
  int signals = 0;
  std::unique_ptr<CoreThread> thread;
  const Texts texts{QStringLiteral("en")};
  std::unique_ptr<AppModel> model;
  std::unique_ptr<AddPhone> adding;
};

TEST(AppModel, DoesWhatTheScenariosSay) {
  EXPECT_EQ(test::expectScenarios<Desktop>("app/scenarios.txt"), 168);
}

}  // namespace
}  // namespace orvik
