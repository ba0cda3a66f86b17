#include <gmock/gmock.h>

#include <algorithm>
#include <array>

#include "core/sampling/linux/ProcessReader.h"
#include "tests/support/FixtureTree.h"

namespace orvik {
namespace {

using namespace std::chrono_literals;
using test::FixtureTree;

void writeProcess(const FixtureTree& tree, int pid, const std::string& name, int ticks,
                  int startedAt = 0) {
  const std::string number = std::to_string(pid);
  tree.write("proc/" + number + "/stat", number + " (" + name + ") R 1 1 1 0 -1 0 0 0 0 0 " +
                                             std::to_string(ticks) + " 0 0 0 20 0 1 0 " +
                                             std::to_string(startedAt) + " 0 0\n");
}

TEST(ProcessReader, OrdersByUseSinceTheReadingBefore) {
  const FixtureTree tree{"laptop"};
  Instant now(1h);
  ProcessReader reader(tree.root(), [&] { return now; });
  const auto readAfter = [&](Clock::Duration later) {
    now += later;
    return reader.read().value_or(JSONValue()).text();
  };
  const std::string resting =
      R"([[0.0,"gnome-terminal-server"],[0.0,"update-everything-on-this-machine"],)"
      R"([0.0,"systemd"],[0.0,"(sd-pam) :) x"]])";
  EXPECT_EQ(readAfter(0s), "null");
  EXPECT_EQ(readAfter(399ms), "null");
  EXPECT_EQ(readAfter(1ms), resting);
  writeProcess(tree, 810, "gnome-terminal-", 5000, 500000);
  EXPECT_EQ(readAfter(10s), resting);
  EXPECT_EQ(readAfter(499ms), resting);
  now -= 499ms;

  writeProcess(tree, 810, "gnome-terminal-", 5100, 500000);
  // A number that was given again, a newcomer, and one whose earlier work was not seen.
  writeProcess(tree, 820, "new", 20, 1000100);
  writeProcess(tree, 900, " two\nlines\x01 \xc3", 30, 1000000);
  writeProcess(tree, 905, "kworker/u8:2-events_unbound_of_ein\xc3\xa4\xc3\xb6", 1'000'000);
  tree.remove("proc/700");
  tree.write("proc/1/stat", "1 (systemd) S garbage");
  EXPECT_EQ(readAfter(2s), R"([[50.0,"gnome-terminal-server"],[15.0,"two lines  )"
                           "\xef\xbf\xbd"
                           R"("],[10.0,"new"]])");
  writeProcess(tree, 905, "kworker/u8:2-events_unbound_of_ein\xc3\xa4\xc3\xb6", 1'000'200);
  EXPECT_THAT(readAfter(2s),
              testing::StartsWith(R"([[100.0,"kworker/u8:2-events_unbound_of_ein"],)"));
  // The next one would be a mean over too long a time.
  EXPECT_EQ(readAfter(10'001ms), "null");
  tree.remove("proc");
  EXPECT_EQ(readAfter(2s), "[]");
}

TEST(ProcessReader, ManyRestingProcessesAreLookedAtInTurns) {
  const FixtureTree tree{};
  constexpr int count = 600;
  constexpr int turns = 3;
  for (int pid = 1; pid <= count; ++pid) {
    writeProcess(tree, pid, "p" + std::to_string(pid), count - pid);
  }
  Instant now(1h);
  Clock::Duration interval = 2s;
  ProcessReader reader(tree.root(), [&] { return now; });
  const auto read = [&] {
    now += interval;
    return reader.read().value_or(JSONValue());
  };
  EXPECT_EQ(read().text(), "null");
  EXPECT_EQ(read().get<JSONValue::Array>()->size(), 11U);
  // The first is shown, so it is seen at once; the others when it is their turn.
  writeProcess(tree, 1, "p1", count + 100);
  for (const int pid : {398, 399, 400}) {
    writeProcess(tree, pid, "p" + std::to_string(pid), count + 600);
  }
  const auto workersIn = [](const std::string& text) {
    return std::ranges::count_if(
        std::array{"\"p398\"", "\"p399\"", "\"p400\""},
        [&](const char* name) { return text.find(name) != std::string::npos; });
  };
  const std::string next = read().text();
  EXPECT_NE(next.find("[50.5,\"p1\"]"), std::string::npos) << next;
  for (std::ptrdiff_t seen = 1; seen < turns; ++seen) {
    EXPECT_EQ(workersIn(seen == 1 ? next : read().text()), seen);
  }
  EXPECT_EQ(workersIn(read().text()), turns);
  static_assert((count + 255) / 256 == turns);

  // What was looked at too long ago is measured anew, not shown with a mean over that time.
  interval = 9s;
  for (int round = 0; round < 2 * turns; ++round) {
    (void)read();
  }
  for (int pid = 300; pid < 303; ++pid) {
    writeProcess(tree, pid, "p" + std::to_string(pid), 100'000);
  }
  for (int round = 0; round < turns; ++round) {
    EXPECT_THAT(read().text(), testing::StartsWith("[[0.0,"));
  }
  writeProcess(tree, 300, "p300", 100'900);
  EXPECT_THAT(read().text(), testing::StartsWith("[[100.0,\"p300\"]"));
}

}  // namespace
}  // namespace orvik
