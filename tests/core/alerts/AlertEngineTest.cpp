#include <gmock/gmock.h>

#include <cmath>
#include <iterator>
#include <limits>
#include <sstream>

#include "core/alerts/AlertEngine.h"
#include "core/alerts/AlertQueue.h"
#include "core/values/JSONReader.h"
#include "tests/support/Table.h"

namespace orvik {
namespace {

using Limits = std::numeric_limits<std::int64_t>;
using testing::ElementsAre;

constexpr std::int64_t start = 1'800'000'000'000;
constexpr std::int64_t minute = 60'000;
constexpr std::int64_t day = 86'400;
constexpr std::int64_t overdue = 30 * day;

JSONObject sampleAt(std::int64_t ms, JSONObject keys) {
  keys.set("epoch", (start + ms) / 1000);
  keys.set("epoch_ms", start + ms);
  return keys;
}

/// "temp_high 96.0, on_battery cleared"
std::string summary(const std::vector<Alert>& alerts) {
  std::string text;
  for (const Alert& alert : alerts) {
    text += text.empty() ? "" : ", ";
    text += Alert::text(alert.kind);
    text += alert.state == Alert::State::cleared ? " cleared" : "";
    text += alert.value ? " " + JSONValue(*alert.value).text() : "";
  }
  return text;
}

JSONValue parsed(std::string_view text) { return JSONValue::any(readJSON(text)); }

/// What a timeline gives. With every step the program is started anew, and the state read back from
/// its stored form.
std::string told(std::string_view timeline, const AlertSettings& settings) {
  std::istringstream steps{std::string(timeline)};
  std::string part;
  std::getline(steps, part, ':');
  std::istringstream head(part);
  const std::vector<std::string> keys{std::istream_iterator<std::string>(head), {}};
  AlertEngine engine;
  std::string all;
  while (std::getline(steps, part, ';')) {
    std::istringstream words(part);
    std::int64_t at = 0;
    words >> at;
    JSONObject readings;
    for (const std::string& key : keys) {
      words >> part;
      readings.set(key, parsed(part));
    }
    if (const auto* age = readings.get<std::int64_t>("tm_last_backup")) {
      readings.set("tm_last_backup", start / 1000 - *age);
    }
    const auto stored = AlertEngine::from(parsed(engine.json().text()));
    EXPECT_EQ(stored, engine);
    engine = stored.value();
    for (const Alert& alert : engine.evaluate(sampleAt(at, readings), settings)) {
      all += (all.empty() ? "" : ", ") + std::to_string(at) + " " + summary({alert});
    }
  }
  return all;
}

TEST(AlertEngine, TellsWhatTheTableSays) {
  AlertEngine kept;
  const auto filled = [](AlertEngine& engine, std::string_view sample) {
    JSONValue::Array alerts;
    for (const Alert& alert : engine.evaluate(*parsed(sample).get<JSONObject>(), {})) {
      alerts.push_back(alert.json());
    }
    return alerts;
  };
  test::expectTable(
      "alerts/alerts.txt",
      {{"told", [](auto text) { return told(text, {}); }},
       {"without on_battery", [](auto text) { return told(text, {.onBattery = false}); }},
       {"without battery_low", [](auto text) { return told(text, {.batteryLow = false}); }},
       {"without time_machine", [](auto text) { return told(text, {.timeMachine = false}); }},
       {"filled", [&](auto text) { return filled(kept, text); }},
       {"filled new",
        [&](auto text) {
          AlertEngine engine;
          const JSONValue alerts = filled(engine, text);
          EXPECT_EQ(engine, AlertEngine());
          return alerts;
        }},
       {"state",
        [](auto text) {
          const auto engine = AlertEngine::from(parsed(text));
          return engine ? engine->json() : JSONValue();
        }},
       {"read", [](auto text) {
          const auto alert = Alert::from(parsed(text));
          return alert ? alert->json() : JSONValue();
        }}});
}

TEST(AlertEngine, ATimeInTheFutureIsNoTime) {
  // The clock was ten hours ahead while all of this was raised.
  constexpr std::int64_t ahead = 600 * minute;
  const JSONObject hot{
      {"temp_cpu", 96}, {"disk_pct", 91}, {"tm_last_backup", start / 1000 - overdue}};
  const auto raised = [&](std::int64_t ms, AlertEngine& engine) {
    engine.forgetTimesAfter(start + ms);
    return summary(engine.evaluate(sampleAt(ms, hot), {}));
  };
  AlertEngine engine;
  EXPECT_EQ(raised(ahead, engine), "disk_full 91.0, time_machine 30.0");
  EXPECT_EQ(raised(ahead + minute, engine), "temp_high 96.0");
  engine.tempArmed = engine.diskArmed = true;
  const AlertEngine kept = engine;
  engine.forgetTimesAfter(start + ahead + minute);
  EXPECT_EQ(engine, kept) << "of the past nothing is forgotten";
  EXPECT_EQ(raised(0, engine), "disk_full 91.0, time_machine 30.0");
  EXPECT_EQ(raised(minute, engine), "temp_high 96.0");
  engine = kept;
  engine.forgetTimesAfter(start);
  EXPECT_EQ(summary(engine.evaluate(sampleAt(0, {{"tm_last_backup", start / 1000 - day}}), {})),
            "time_machine cleared");
}

TEST(AlertEngine, OutlivesTimesAtTheLimits) {
  AlertEngine engine;
  const auto at = [&](std::int64_t epoch, JSONValue epochMs, std::int64_t lastBackup) {
    return summary(engine.evaluate({{"epoch", epoch},
                                    {"epoch_ms", std::move(epochMs)},
                                    {"temp_cpu", 99},
                                    {"disk_pct", 99},
                                    {"tm_last_backup", lastBackup}},
                                   {}));
  };
  EXPECT_EQ(at(Limits::max(), Limits::min(), Limits::min()),
            "disk_full 99.0, time_machine 106751991167300.0");
  EXPECT_EQ(at(Limits::max(), nullptr, Limits::min()), "") << "a gap, of more than all time";
  EXPECT_EQ(engine.lastTempMs, Limits::max());
  EXPECT_EQ(at(1, Limits::min(), Limits::max()), "time_machine cleared");
  engine.timeMachineReminder = TimeMachineReminder{.at = Limits::min(), .backup = 0};
  EXPECT_EQ(at(Limits::max(), 0, 0), "time_machine 106751991167300.0");
}

Alert alertAt(std::int64_t epochMs, std::optional<double> value = std::nullopt) {
  return {Alert::Kind::diskFull, Alert::State::raised, value, epochMs};
}

TEST(Alert, LeavesAValueOutThatIsNoNumber) {
  for (const double none : {INFINITY, -INFINITY, NAN}) {
    EXPECT_EQ(alertAt(5, none).json().text(),
              R"({"epoch_ms":5,"kind":"disk_full","state":"raised"})");
  }
}

TEST(AlertQueue, KeepsTheNewestTwentyForAnHour) {
  constexpr std::int64_t hour = 3'600'000;
  using Limits = std::numeric_limits<std::int64_t>;
  AlertQueue queue;
  for (std::int64_t ms = 1; ms <= 21; ++ms) {
    queue.append(alertAt(ms));
  }
  EXPECT_EQ(queue.due(2 + hour).size(), 20U) << "the second is exactly an hour old";
  EXPECT_EQ(queue.due(2 + hour + 1).front(), alertAt(3));
  for (const std::int64_t ms : {std::int64_t{0}, Limits::max(), Limits::min(), hour}) {
    queue.append(alertAt(ms));
  }
  EXPECT_THAT(queue.due(2 * hour), ElementsAre(alertAt(Limits::max()), alertAt(hour)));
  EXPECT_EQ(queue.due(Limits::min()).size(), 2U);
}

TEST(AlertQueue, OnlyTheOldestCanBeSent) {
  AlertQueue queue;
  queue.sent(alertAt(1));
  for (const std::int64_t ms : {1, 2, 2}) {
    queue.append(alertAt(ms));
  }
  queue.sent(alertAt(2));
  EXPECT_THAT(queue.due(0), ElementsAre(alertAt(1), alertAt(2), alertAt(2)));
  queue.sent(alertAt(1));
  queue.sent(alertAt(2));
  EXPECT_THAT(queue.due(0), ElementsAre(alertAt(2)));
}

}  // namespace
}  // namespace orvik
