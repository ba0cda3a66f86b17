#include <gtest/gtest.h>

#include "core/client/SampleSchedule.h"

namespace orvik {
namespace {

using std::chrono::milliseconds;

struct Decision {
  std::int64_t atMs;
  Presence presence;
  /// What goes out; empty for nothing.
  std::string sent;
};

/// Carries out every decision of one connection as it falls due.
void expect(const std::vector<Decision>& timeline) {
  SampleSchedule schedule;
  for (const auto& [atMs, presence, sent] : timeline) {
    const Instant now(milliseconds{atMs});
    std::string kind;
    if (const auto due = schedule.decide(presence, now)) {
      schedule.taken(*due, now);
      schedule.sent(*due);
      kind = due->withMacInfo ? "full" : "plain";
      kind += due->withHistory ? "+history" : "";
    }
    EXPECT_EQ(kind, sent) << atMs << " ms";
  }
}

TEST(SampleSchedule, FollowsPhonesAsTheyComeLookAndGo) {
  expect({{0, {0, 0}, ""},
          {1'000, {1, 0}, "full"},
          {30'999, {1, 0}, ""},
          {31'000, {1, 0}, "plain+history"},
          {60'999, {1, 0}, ""},
          {61'000, {1, 0}, "plain"},
          // Begins to look.
          {61'200, {1, 1}, "plain"},
          {63'199, {1, 1}, ""},
          {63'200, {1, 1}, "plain"},
          // Looks away and back.
          {63'400, {1, 0}, ""},
          {63'600, {1, 1}, "plain"},
          // A second phone, which leaves and comes again, seen and unseen by a sample.
          {63'800, {2, 1}, "full"},
          {65'799, {2, 1}, ""},
          {65'800, {2, 1}, "plain+history"},
          {66'000, {1, 1}, ""},
          {66'200, {2, 1}, ""},
          {67'800, {1, 1}, "plain"},
          {68'000, {2, 2}, "full"},
          // The last one leaves: whoever comes next is new.
          {68'200, {0, 0}, ""},
          {68'400, {1, 1}, "full"}});
  // A history that is owed is forgotten when the phone looks away.
  expect({{0, {1, 1}, "full"}, {1'000, {1, 0}, ""}, {30'000, {1, 0}, "plain"}});
  // The machine is described anew every ten minutes.
  expect({{0, {1, 0}, "full"},
          {599'999, {1, 0}, "plain+history"},
          {629'999, {1, 0}, "full"},
          {1'229'998, {1, 0}, "plain"},
          {1'259'998, {1, 0}, "full"}});
}

TEST(SampleSchedule, OwesWhatCouldNotBeSent) {
  SampleSchedule schedule;
  const auto first = schedule.decide({1, 0}, Instant());
  ASSERT_TRUE(first);
  schedule.taken(*first, Instant());
  const auto again = schedule.decide({1, 0}, Instant());
  ASSERT_TRUE(again) << "its viewer has had nothing yet";
  EXPECT_TRUE(again->withMacInfo);
}

TEST(SampleSchedule, IsAskedOnTicksAtWhichSomethingMayBeDue) {
  const auto at = [](std::int64_t ms) { return Instant(milliseconds(ms)); };
  SampleSchedule schedule;
  EXPECT_EQ(schedule.nextDecision({0, 0}, at(0)), std::nullopt);
  EXPECT_EQ(schedule.nextDecision({1, 0}, at(50)), at(250));
  const auto due = schedule.decide({1, 1}, at(50));
  ASSERT_TRUE(due);
  schedule.taken(*due, at(100));
  schedule.sent(*due);
  EXPECT_EQ(schedule.nextDecision({1, 1}, at(100)), at(2'100));
  EXPECT_EQ(schedule.nextDecision({1, 1}, at(150)), at(2'150))
      << "the first tick that is not early";
  EXPECT_EQ(schedule.nextDecision({1, 0}, at(150)), at(30'150));
  EXPECT_EQ(schedule.nextDecision({1, 1}, at(5'000)), at(5'200)) << "late already";
  const std::pair<std::int64_t, std::int64_t> ticks[] = {
      {100, 300}, {299, 300}, {300, 500}, {301, 500}, {50, 300}};
  for (const auto& [now, tick] : ticks) {
    EXPECT_EQ(SampleSchedule::tickAfter(at(100), at(now)), at(tick)) << now;
  }
}

}  // namespace
}  // namespace orvik
