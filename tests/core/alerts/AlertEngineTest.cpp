#include <gtest/gtest.h>

#include <limits>

#include "core/alerts/AlertEngine.h"
#include "core/values/JSONReader.h"

namespace orvik {
namespace {

using Limits = std::numeric_limits<std::int64_t>;

constexpr std::int64_t start = 1'800'000'000'000;
constexpr std::int64_t minute = 60'000;
constexpr std::int64_t day = 86'400;
constexpr std::int64_t overdue = 30 * day;

JSONObject sampleAt(std::int64_t ms, JSONObject keys) {
  keys.set("epoch", (start + ms) / 1000);
  keys.set("epoch_ms", start + ms);
  return keys;
}
JSONObject temp(JSONValue value) { return {{"temp_cpu", std::move(value)}}; }
JSONObject disk(JSONValue value) { return {{"disk_pct", std::move(value)}}; }
JSONObject power(JSONValue onAc, JSONValue charge = nullptr) {
  return {{"on_ac", std::move(onAc)}, {"battery_pct", std::move(charge)}};
}
/// The last backup, by its age at the start of the timeline.
JSONObject backup(std::int64_t age, JSONValue isRunning = nullptr) {
  return {{"tm_last_backup", start / 1000 - age}, {"tm_running", std::move(isRunning)}};
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

struct Step {
  /// Milliseconds since the start.
  std::int64_t at;
  JSONObject keys;
  const char* alerts = "";
};

/// With every step the program is started anew, and the state read back from its stored form.
void follow(const std::vector<Step>& timeline, const AlertSettings& settings = {}) {
  AlertEngine engine;
  for (const auto& [at, keys, alerts] : timeline) {
    const auto stored = AlertEngine::from(JSONValue::any(readJSON(engine.json().text())));
    ASSERT_EQ(stored, engine);
    engine = *stored;
    EXPECT_EQ(summary(engine.evaluate(sampleAt(at, keys), settings)), alerts)
        << "at " << at << " " << JSONValue(keys).text();
  }
}

TEST(TemperatureAlert, NeedsAMinuteWithoutAGap) {
  follow({{0, temp(95)},
          {59'999, temp(97.5)},
          {60'000, temp(96.5), "temp_high 96.5"},
          {90'000, temp(99)}});
  // One millisecond more is a gap, and the minute begins anew.
  follow({{0, temp(96)}, {60'001, temp(96)}, {120'001, temp(96), "temp_high 96.0"}});
  follow({{0, temp(96)},
          {30'000, temp(94.9)},
          {60'000, temp(96)},
          {119'999, temp(96)},
          {120'000, temp(95), "temp_high 95.0"}});
  // What is no reading changes nothing: the gap counts from the last one.
  follow({{0, temp(96)},
          {30'000, temp("60")},
          {50'000, temp(nullptr)},
          {60'000, temp(96), "temp_high 96.0"}});
  follow({{0, temp(96)}, {60'000, {}}, {60'001, temp(96)}});
}

TEST(TemperatureAlert, RearmsMoreThanFiveDegreesBelowAndWaitsThirtyMinutes) {
  for (const auto& [cooled, alerts] : {std::pair{90.0, ""}, {89.9, "temp_high 97.0"}}) {
    follow({{0, temp(96)},
            {minute, temp(96), "temp_high 96.0"},
            {2 * minute, temp(cooled)},
            {30 * minute, temp(97)},
            {31 * minute - 1, temp(97)},
            {31 * minute, temp(97), alerts}});
  }
}

TEST(DiskAlert, FiresAtTheThresholdAndRearmsMoreThanTwoBelow) {
  for (const auto& [freed, alerts] : {std::pair{88.0, ""}, {87.9, "disk_full 90.0"}}) {
    follow({{0, disk("95")},
            {0, disk(89.9)},
            {1, disk(90), "disk_full 90.0"},
            {2, disk(freed)},
            {30 * minute, disk(95)},
            {30 * minute + 1, disk(90.0), alerts}});
  }
}

TEST(MainsAlert, TellsEveryChangeAndNothingElse) {
  follow({{0, power(false, 50)},
          {1, power(true), "on_battery cleared"},
          {2, power(true)},
          {3, power(false, 81), "on_battery 81.0"},
          {4, power(nullptr)},
          {5, power(1)},
          {6, power(false)},
          {7, power(true), "on_battery cleared"},
          {8, power(false, 80.0), "on_battery"}});
  follow({{0, power(true)}, {1, power(false)}, {2, power(true), "on_battery cleared"}},
         {.onBattery = false});
}

TEST(LowBatteryAlert, NeedsAKnownBatteryStateAndRearmsAtTwenty) {
  for (const auto& [charged, alerts] : {std::pair{power(false, 19), ""},
                                        {power(false, 20), "battery_low 13.0"},
                                        {power(nullptr, 20), "battery_low 13.0"}}) {
    follow({{0, power(nullptr, 5)},
            {1, power(false, 15)},
            {2, power(false, 14.0)},
            {3, power(false, 14), "battery_low 14.0"},
            {4, charged},
            {30 * minute + 3, power(nullptr, 13)},
            {30 * minute + 4, power(false, 13), alerts}});
  }
  follow({{0, power(true, 3)}, {1, power(false, 3), "on_battery 3.0"}}, {.batteryLow = false});
}

TEST(BackupAlert, RemindsOnceInThirtyDaysAndClears) {
  follow({{0, backup(overdue - 1)},
          {0, backup(overdue, true)},
          {0, backup(overdue), "time_machine 30.0"},
          {1000, backup(overdue)},
          // Another backup, old as well: a reminder of its own.
          {0, backup(overdue + day, false), "time_machine 31.0"},
          {overdue * 1000 - 1, backup(overdue + day)},
          {overdue * 1000, backup(overdue + day), "time_machine 61.0"},
          {0, backup(overdue - 1), "time_machine cleared"},
          {0, backup(overdue - 1)},
          {0, {{"tm_last_backup", 1.0}}}});
  follow({{0, backup(overdue)}}, {.timeMachine = false});
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
  EXPECT_EQ(summary(engine.evaluate(sampleAt(0, backup(day)), {})), "time_machine cleared");
}

TEST(AlertEngine, FillsOnlyWhatAnAlertIsAbout) {
  AlertEngine engine;
  for (const auto& [keys, texts] : {
           std::pair<JSONObject, const char*>{{{"on_ac", true}}, ""},
           {{{"disk_pct", 90.5}, {"disk_free_gb", 12}, {"battery_min", 9}},
            R"({"disk_free_gb":12,"epoch_ms":1800000000000,"kind":"disk_full",)"
            R"("state":"raised","threshold":90,"value":90.5})"},
           {{{"on_ac", false}, {"battery_pct", 9}, {"battery_min", 7}},
            R"({"battery_min":7,"epoch_ms":1800000000000,"kind":"on_battery","state":"raised",)"
            R"("value":9.0}{"battery_min":7,"epoch_ms":1800000000000,"kind":"battery_low",)"
            R"("state":"raised","value":9.0})"},
           {{{"on_ac", true}, {"battery_pct", 9}, {"battery_min", 7}},
            R"({"epoch_ms":1800000000000,"kind":"on_battery","state":"cleared"})"},
           {{{"tm_last_backup", 0}, {"tm_disk_name", 1}, {"tm_disk_connected", "yes"}},
            R"({"backup_disk_connected":false,"backup_epoch":0,"epoch_ms":1800000000000,)"
            R"("kind":"time_machine","state":"raised","value":20833.0})"},
           {{{"tm_last_backup", 1}, {"tm_disk_name", "Zoë"}, {"tm_disk_connected", true}},
            R"({"backup_disk_connected":true,"backup_disk_name":"Zoë","backup_epoch":1,)"
            R"("epoch_ms":1800000000000,"kind":"time_machine","state":"raised","value":20833.0})"},
       }) {
    std::string written;
    for (const Alert& alert : engine.evaluate(sampleAt(0, keys), {})) {
      written += alert.json().text();
    }
    EXPECT_EQ(written, texts);
  }
  const auto alerts = AlertEngine().evaluate(
      {{"epoch", 1}, {"disk_pct", 95}, {"disk_free_gb", 12.0}, {"epoch_ms", 1.0}}, {});
  EXPECT_EQ(alerts.at(0).diskFreeGb, std::nullopt);
  EXPECT_EQ(alerts.at(0).epochMs, 1000) << "from the seconds";
}

TEST(AlertEngine, IgnoresSamplesWithoutTimeAndOutlivesTimesAtTheLimits) {
  AlertEngine engine;
  for (const JSONValue& epoch : {JSONValue(0), JSONValue(Limits::min()), JSONValue(1.8e9),
                                 JSONValue("1800000000"), JSONValue()}) {
    EXPECT_TRUE(engine.evaluate({{"epoch", epoch}, {"disk_pct", 99}}, {}).empty());
    EXPECT_EQ(engine, AlertEngine());
  }
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

}  // namespace
}  // namespace orvik
