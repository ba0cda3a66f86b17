#include <gtest/gtest.h>

#include <algorithm>
#include <array>

#include "core/platform/linux/ProcessReader.h"
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
  ProcessReader reader(tree.root());
  Instant now(1h);
  const std::string first =
      R"([[1.0,"gnome-terminal-server"],[0.5,"update-everything-on-this-machine"],)"
      R"([0.1,"systemd"],[0.0,"(sd-pam) :) x"]])";
  EXPECT_EQ(reader.read(now).text(), first);
  EXPECT_EQ(reader.read(now + 499ms).text(), first);

  tree.write("proc/uptime", "10002.00 39000.00\n");
  writeProcess(tree, 810, "gnome-terminal-", 5100, 500000);
  // A number that was given again, a newcomer, and one that has been hidden until now.
  writeProcess(tree, 820, "new", 20, 1000100);
  writeProcess(tree, 900, " two\nlines\x01 \xc3", 30, 1000000);
  writeProcess(tree, 905, "kworker/u8:2-events_unbound_of_ein\xc3\xa4\xc3\xb6", 1'000'000);
  tree.remove("proc/700");
  tree.write("proc/1/stat", "1 (systemd) S garbage");
  now += 2s;
  EXPECT_EQ(reader.read(now).text(),
            R"([[100.0,"kworker/u8:2-events_unbound_of_ein"],[50.0,"gnome-terminal-server"],)"
            R"([15.0,"two lines  )"
            "\xef\xbf\xbd"
            R"("],[10.0,"new"]])");
  tree.remove("proc");
  EXPECT_EQ(reader.read(now + 2s).text(), "[]");
}

TEST(ProcessReader, ManyRestingProcessesAreLookedAtInTurns) {
  const FixtureTree tree{};
  constexpr int count = 600;
  constexpr int turns = 3;
  tree.write("proc/uptime", "10000.00 0\n");
  for (int pid = 1; pid <= count; ++pid) {
    writeProcess(tree, pid, "p" + std::to_string(pid), count - pid);
  }
  ProcessReader reader(tree.root());
  Instant now(1h);
  const auto read = [&] {
    now += 2s;
    return reader.read(now);
  };
  EXPECT_EQ(read().get<JSONValue::Array>()->size(), 11U);
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
  static_assert(count / 256 + 1 == turns);
}

}  // namespace
}  // namespace orvik
