#include <gtest/gtest.h>

#include <limits>
#include <sstream>

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

/// The steps of a timeline, each "milliseconds since the start, value of each key, = alerts". With
/// every step the program is started anew, and the state read back from its stored form.
void follow(const std::vector<const char*>& keys, std::string_view timeline,
            const AlertSettings& settings = {}) {
  AlertEngine engine;
  while (!timeline.empty()) {
    const std::size_t end = std::min(timeline.find(';'), timeline.size());
    const std::string step(timeline.substr(0, end));
    timeline.remove_prefix(std::min(end + 1, timeline.size()));
    const std::size_t equals = std::min(step.find(" = "), step.size());
    std::istringstream words(step.substr(0, equals));
    std::int64_t at = 0;
    words >> at;
    JSONObject readings;
    for (const char* key : keys) {
      std::string value;
      words >> value;
      readings.set(key, JSONValue::any(readJSON(value)));
    }
    if (const auto* age = readings.get<std::int64_t>("tm_last_backup")) {
      readings.set("tm_last_backup", start / 1000 - *age);
    }
    const auto stored = AlertEngine::from(JSONValue::any(readJSON(engine.json().text())));
    ASSERT_EQ(stored, engine);
    engine = *stored;
    EXPECT_EQ(summary(engine.evaluate(sampleAt(at, readings), settings)),
              equals < step.size() ? step.substr(equals + 3) : "")
        << step;
  }
}

TEST(TemperatureAlert, NeedsAMinuteWithoutAGap) {
  follow({"temp_cpu"}, "0 95; 59999 97.5; 60000 96.5 = temp_high 96.5; 90000 99");
  // One millisecond more is a gap, and the minute begins anew.
  follow({"temp_cpu"}, "0 96; 60001 96; 120001 96 = temp_high 96.0");
  follow({"temp_cpu"}, "0 96; 30000 94.9; 60000 96; 119999 96; 120000 95 = temp_high 95.0");
  // What is no reading changes nothing: the gap counts from the last one.
  follow({"temp_cpu"}, R"(0 96; 30000 "60"; 50000 null; 60000 96 = temp_high 96.0)");
  follow({"temp_cpu"}, "0 96; 60000 null; 60001 96");
}

TEST(TemperatureAlert, RearmsMoreThanFiveDegreesBelowAndWaitsThirtyMinutes) {
  const std::string raised = "0 96; 60000 96 = temp_high 96.0; 120000 ";
  follow({"temp_cpu"}, raised + "90; 1800000 97; 1859999 97; 1860000 97");
  follow({"temp_cpu"}, raised + "89.9; 1800000 97; 1859999 97; 1860000 97 = temp_high 97.0");
}

TEST(DiskAlert, FiresAtTheThresholdAndRearmsMoreThanTwoBelow) {
  const std::string raised = R"(0 "95"; 0 89.9; 1 90 = disk_full 90.0; 2 )";
  follow({"disk_pct"}, raised + "88; 1800000 95; 1800001 90.0");
  follow({"disk_pct"}, raised + "87.9; 1800000 95; 1800001 90.0 = disk_full 90.0");
}

TEST(MainsAlert, TellsEveryChangeAndNothingElse) {
  follow({"on_ac", "battery_pct"},
         "0 false 50; 1 true null = on_battery cleared; 2 true null; 3 false 81 = on_battery 81.0;"
         "4 null null; 5 1 null; 6 false null; 7 true null = on_battery cleared;"
         "8 false 80.0 = on_battery");
  follow({"on_ac"}, "0 true; 1 false; 2 true = on_battery cleared", {.onBattery = false});
}

TEST(LowBatteryAlert, NeedsAKnownBatteryStateAndRearmsAtTwenty) {
  const std::string raised =
      "0 null 5; 1 false 15; 2 false 14.0; 3 false 14 = battery_low 14.0; 4 ";
  const std::string later = "; 1800003 null 13; 1800004 false 13";
  follow({"on_ac", "battery_pct"}, raised + "false 19" + later);
  for (const char* charged : {"false 20", "null 20"}) {
    follow({"on_ac", "battery_pct"}, raised + charged + later + " = battery_low 13.0");
  }
  follow({"on_ac", "battery_pct"}, "0 true 3; 1 false 3 = on_battery 3.0", {.batteryLow = false});
}

TEST(BackupAlert, RemindsOnceInThirtyDaysAndClears) {
  // Another backup, old as well, has a reminder of its own.
  follow({"tm_last_backup", "tm_running"},
         "0 2591999 null; 0 2592000 true; 0 2592000 null = time_machine 30.0; 1000 2592000 null;"
         "0 2678400 false = time_machine 31.0; 2591999999 2678400 null;"
         "2592000000 2678400 null = time_machine 61.0; 0 2591999 null = time_machine cleared;"
         "0 2591999 null; 0 1.0 null");
  follow({"tm_last_backup"}, "0 2592000", {.timeMachine = false});
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
