#include <gtest/gtest.h>

#include <cmath>

#include "core/alerts/MinuteHistory.h"

namespace orvik {
namespace {

JSONObject sample(std::int64_t epoch, const JSONValue& cpu, const JSONValue& temp = {},
                  const JSONValue& watts = {}) {
  return {{"epoch", epoch}, {"cpu_pct", cpu}, {"temp_cpu", temp}, {"power_w", watts}};
}

std::string text(const MinuteHistory& history, std::int64_t now) {
  const auto json = history.json(now);
  return json ? json->text() : "none";
}

TEST(MinuteHistory, ReportsTheMeansOfCompleteMinutes) {
  MinuteHistory history;
  history.add(sample(120, 10.0, 50, 1.25));
  history.add(sample(130, 20, nullptr, 2.0));
  history.add(sample(179, 30.0, 51.0, NAN));
  EXPECT_EQ(text(history, 179), "none");
  const char* minute2 = R"({"cpu":[20.0],"dm":[0],"t0":120,"temp":[50.5],"w":[1.62]})";
  EXPECT_EQ(text(history, 180), minute2);
  history.add(sample(180, 1.0));
  EXPECT_EQ(text(history, 239), minute2);
  EXPECT_EQ(text(history, 240),
            R"({"cpu":[20.0,1.0],"dm":[0,1],"t0":120,"temp":[50.5,null],"w":[1.62,null]})");
}

TEST(MinuteHistory, GapsAndLateSamples) {
  MinuteHistory history;
  for (const std::int64_t minute : {10, 11, 14}) {
    history.add(sample(minute * 60, nullptr, nullptr, minute));
  }
  // Late, it counts into the open minute.
  history.add(sample(10 * 60, nullptr, nullptr, 16));
  EXPECT_EQ(text(history, 15 * 60),
            R"({"cpu":[null,null,null],"dm":[0,1,3],"t0":600,"temp":[null,null,null],)"
            R"("w":[10.0,11.0,15.0]})");
  // A clock that was set back: nothing of the future is reported.
  EXPECT_EQ(text(history, 11 * 60), R"({"cpu":[null],"dm":[0],"t0":600,"temp":[null],"w":[10.0]})");
}

TEST(MinuteHistory, ForgetsWhatAClockThatWasAheadHasRecorded) {
  MinuteHistory history;
  for (const std::int64_t minute : {9, 10, 11, 500, 501}) {
    history.add(sample(minute * 60, static_cast<double>(minute)));
  }
  history.forgetAfter(501 * 60);
  EXPECT_EQ(history.points(502 * 60).size(), 5U) << "the present minute is none of those";
  history.forgetAfter(11 * 60 + 5);
  history.add(sample(11 * 60 + 5, 1.0));
  history.add(sample(12 * 60, 1.0));
  const std::string nulls = "[null,null,null]";
  EXPECT_EQ(text(history, 12 * 60), R"({"cpu":[9.0,10.0,1.0],"dm":[0,1,1],"t0":540,"temp":)" +
                                        nulls + R"(,"w":)" + nulls + "}");
}

TEST(MinuteHistory, IgnoresSamplesWithoutTimeOrReadings) {
  MinuteHistory history;
  for (const JSONObject& unusable :
       {sample(0, 1.0), sample(-60, 1.0), sample(600, nullptr),
        sample(600, "1", true, JSONObject{}), JSONObject{{"epoch", 600.0}, {"cpu_pct", 1.0}},
        JSONObject{{"cpu_pct", 1.0}}, JSONObject{}}) {
    history.add(unusable);
  }
  EXPECT_EQ(history, MinuteHistory());
  // Only what is not finite still opens the minute, and leaves it without a value.
  history.add(sample(600, INFINITY));
  EXPECT_EQ(text(history, 660), R"({"cpu":[null],"dm":[0],"t0":600,"temp":[null],"w":[null]})");
}

TEST(MinuteHistory, KeepsOneDay) {
  MinuteHistory history;
  for (std::int64_t minute = 1; minute <= 3000; ++minute) {
    history.add(sample(minute * 60 + 30, static_cast<double>(minute % 100)));
  }
  const auto points = history.points(3000 * 60);
  EXPECT_EQ(points.size(), 1439U);
  EXPECT_EQ(points.front().minute, 3000 - 1439);
  EXPECT_EQ(points.back().minute, 2999);
  EXPECT_EQ(history.points(3001 * 60).size(), 1439U);
  EXPECT_EQ(history.points(3000 * 60 + 86'400).size(), 0U);
  // After a day of silence the next sample drops the rest.
  history.add(sample(9000 * 60, 1.0));
  EXPECT_EQ(history.points(9001 * 60).size(), 1U);
}

}  // namespace
}  // namespace orvik
