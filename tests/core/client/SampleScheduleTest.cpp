#include <gtest/gtest.h>

#include <fstream>
#include <sstream>

#include "core/client/SampleSchedule.h"

namespace orvik {
namespace {

using std::chrono::milliseconds;

TEST(SampleSchedule, FollowsPhonesAsTheyComeLookAndGo) {
  std::ifstream timeline(ORVIK_FIXTURES "/client/samples.txt");
  SampleSchedule schedule;
  int decisions = 0;
  for (std::string line; std::getline(timeline, line);) {
    if (line.empty()) {
      schedule = {};
    } else if (line[0] != '#') {
      std::int64_t time = 0;
      Presence presence;
      std::string expected;
      std::istringstream(line) >> time >> presence.viewers >> presence.active >> expected;
      const Instant now(milliseconds{time});
      std::string sent;
      if (const auto due = schedule.decide(presence, now)) {
        schedule.taken(*due, now);
        schedule.sent(*due);
        sent = due->withMacInfo ? "full" : "plain";
        sent += due->withHistory ? "+history" : "";
      }
      EXPECT_EQ(sent, expected) << line;
      ++decisions;
    }
  }
  EXPECT_EQ(decisions, 28);
}

TEST(SampleSchedule, OwesWhatCouldNotBeSent) {
  SampleSchedule schedule;
  const auto first = schedule.decide({1, 0}, Instant());
  schedule.taken(first.value(), Instant());
  EXPECT_TRUE(schedule.decide({1, 0}, Instant()).value().withMacInfo) << "nobody has had it";
}

TEST(SampleSchedule, IsAskedOnTicksAtWhichSomethingMayBeDue) {
  const auto at = [](std::int64_t ms) { return Instant(milliseconds(ms)); };
  SampleSchedule schedule;
  EXPECT_EQ(schedule.nextDecision({0, 0}, at(0)), std::nullopt);
  EXPECT_EQ(schedule.nextDecision({1, 0}, at(50)), at(250));
  const auto due = schedule.decide({1, 1}, at(50)).value();
  schedule.taken(due, at(100));
  schedule.sent(due);
  EXPECT_EQ(schedule.nextDecision({1, 1}, at(100)), at(2'100));
  EXPECT_EQ(schedule.nextDecision({1, 1}, at(150)), at(2'150)) << "the first that is not early";
  EXPECT_EQ(schedule.nextDecision({1, 0}, at(150)), at(30'150));
  EXPECT_EQ(schedule.nextDecision({1, 1}, at(5'000)), at(5'200)) << "late already";
  for (const auto& [now, tick] : {std::pair(100, 300), {299, 300}, {300, 500}, {50, 300}}) {
    EXPECT_EQ(SampleSchedule::tickAfter(at(100), at(now)), at(tick)) << now;
  }
}

}  // namespace
}  // namespace orvik
