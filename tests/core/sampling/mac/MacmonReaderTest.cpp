#include <boost/asio/co_spawn.hpp>
#include <gmock/gmock.h>

#include <deque>

#include "core/sampling/mac/MacmonReader.h"
#include "tests/support/Children.h"
#include "tests/support/ManualClock.h"
#include "tests/support/RecordedMac.h"
#include "tests/support/TemporaryFolder.h"

namespace orvik {
namespace {

using namespace std::chrono_literals;
using std::filesystem::perms;
using Reading = std::optional<std::string>;

/// What all runs of the tool have in common.
struct Tool {
  explicit Tool(const asio::any_io_executor& executor) : changed(executor) {}
  Notifier changed;
  std::deque<std::string> lines;
  std::vector<std::string> starts;
  int running = 0;
  bool isToEnd = false;
  /// Ends when it is asked to.
  bool isPolite = true;
};

struct ToolRun final : LineProcess {
  explicit ToolRun(std::shared_ptr<Tool> started) : tool(std::move(started)) {
    tool->running++;
    tool->isToEnd = false;
  }
  ~ToolRun() override { tool->running--; }
  asio::awaitable<Reading> nextLine() override {
    const std::function<bool()> isOver = [this] { return !tool->lines.empty() || tool->isToEnd; };
    co_await tool->changed.until(isOver);
    if (tool->lines.empty()) {
      co_return std::nullopt;
    }
    std::string line = std::move(tool->lines.front());
    tool->lines.pop_front();
    co_return line;
  }
  void terminate() override {
    tool->isToEnd = tool->isPolite;
    tool->changed.notify();
  }
  std::shared_ptr<Tool> tool;
};

class MacmonReaderTest : public testing::Test {
 protected:
  MacmonReaderTest() {
    std::filesystem::permissions(path, perms::owner_all);
    reader.emplace(std::vector<std::filesystem::path>{"/nonexistent/macmon", path},
                   MacmonReader::Dependencies{context.get_executor(), clock, commands,
                                              [this](const auto&, const auto&, const auto& given) {
                                                tool->starts.push_back(given.at(2));
                                                return std::make_unique<ToolRun>(tool);
                                              }});
  }
  void says(const std::string& line) {
    tool->lines.push_back(line);
    tool->changed.notify();
    clock->settle();
  }
  void ends() {
    tool->isToEnd = true;
    tool->changed.notify();
    clock->settle();
  }
  /// Asks, and gives what comes, after exactly so long.
  Reading resultOf(asio::awaitable<Reading> operation, Clock::Duration after) {
    std::optional<Reading> result;
    asio::co_spawn(context, std::move(operation),
                   [&](const std::exception_ptr& failure, Reading given) {
                     EXPECT_FALSE(failure);
                     result = std::move(given);
                   });
    clock->settle();
    if (after > 0s) {
      clock->advance(after - 1ns);
      EXPECT_FALSE(result);
      clock->advance(1ns);
    }
    EXPECT_TRUE(result);
    return result.value_or("nothing came");
  }
  Reading latest(Clock::Duration after = 0s) { return resultOf(reader->latest(), after); }

  asio::io_context context;
  const std::shared_ptr<test::ManualClock> clock = std::make_shared<test::ManualClock>(context);
  const std::shared_ptr<test::RecordedCommands> commands =
      std::make_shared<test::RecordedCommands>("laptop.txt", context.get_executor());
  const std::shared_ptr<Tool> tool = std::make_shared<Tool>(context.get_executor());
  const test::TemporaryFolder folder;
  const std::filesystem::path path = folder.write("macmon", "");
  std::optional<MacmonReader> reader;
};

TEST_F(MacmonReaderTest, StartsOnDemandAndGivesTheLatestValidLine) {
  const std::string single = "8 s: " + path.string() + " pipe -s 1 -i 500";
  commands->outputs[single] = "a warning\n{\"b\":1}\n";
  clock->advance(10s);
  EXPECT_EQ(resultOf(reader->reading(), 0s), "{\"b\":1}");  // and does not start it either
  clock->advance(10s);
  EXPECT_THAT(tool->starts, testing::IsEmpty());
  EXPECT_EQ(latest(3s), std::nullopt);
  EXPECT_THAT(tool->starts, testing::ElementsAre("1000"));
  for (const char* line : {"{\"a\":2}", "not JSON", "[1]", "{\"cut\":", "", "\xFF"}) {
    says(line);
  }
  clock->advance(5s);
  EXPECT_EQ(latest(), "{\"a\":2}");
  EXPECT_EQ(resultOf(reader->reading(), 0s), "{\"a\":2}");
  clock->advance(1ns);
  EXPECT_EQ(latest(), std::nullopt);
  EXPECT_EQ(resultOf(reader->reading(), 0s), "{\"b\":1}");
  EXPECT_EQ(commands->taken.count(single), 2U);
  commands->isMute = true;
  EXPECT_EQ(resultOf(reader->reading(), 0s), std::nullopt);
}

TEST_F(MacmonReaderTest, StopsAMinuteAfterTheLastQuestionAndIsWaitedForAfterIt) {
  tool->lines = {"{}"};
  EXPECT_EQ(latest(100ms), "{}");
  for (int count = 0; count < 11; ++count) {
    clock->advance(5s);
    says("{}");
    EXPECT_EQ(resultOf(reader->reading(), 0s), "{}");  // does not count as a question
  }
  clock->advance(4900ms - 1ns);
  says("{}");
  EXPECT_EQ(tool->running, 1);
  clock->advance(1ns);
  says("{}");
  EXPECT_EQ(tool->running, 0);
  clock->advance(1h);
  EXPECT_EQ(tool->starts.size(), 1U);
  Reading back;
  asio::co_spawn(context, reader->latest(),
                 [&](const std::exception_ptr&, Reading line) { back = std::move(line); });
  clock->settle();
  EXPECT_EQ(tool->starts.size(), 2U) << "at once";
  clock->advance(2800ms);
  EXPECT_EQ(back, std::nullopt);
  says("{\"a\":1}");
  clock->advance(100ms);
  EXPECT_EQ(back, "{\"a\":1}");
  // A run after one that worked is waited for, one after a silent one is not.
  clock->advance(9900ms);
  EXPECT_EQ(tool->starts.size(), 3U);
  EXPECT_EQ(latest(3s), std::nullopt);
  clock->advance(7s);
  EXPECT_EQ(tool->starts.size(), 4U);
  EXPECT_EQ(latest(), std::nullopt);
}

TEST_F(MacmonReaderTest, AFreshLineDoesNotHideThatTheToolHasStopped) {
  tool->lines = {"{}"};
  EXPECT_EQ(latest(100ms), "{}");
  for (int count = 0; count < 12; ++count) {
    clock->advance(5s);
    says("{}");
  }
  EXPECT_EQ(tool->running, 0);
  EXPECT_EQ(latest(), "{}");
  EXPECT_EQ(tool->running, 1);
}

TEST_F(MacmonReaderTest, StartsAToolAgainThatHasEndedOrStalls) {
  tool->lines = {"{}"};
  EXPECT_EQ(latest(100ms), "{}");
  ends();
  clock->advance(2s - 100ms - 1ns);
  EXPECT_EQ(tool->starts.size(), 1U) << "not more often than every two seconds";
  clock->advance(1ns);
  EXPECT_EQ(tool->starts.size(), 2U);
  tool->isPolite = false;
  clock->advance(11s - 1ns);
  EXPECT_EQ(tool->starts.size(), 2U) << "has been asked to end";
  clock->advance(1ns);
  EXPECT_EQ(tool->starts.size(), 3U);
  EXPECT_EQ(tool->running, 1);
  reader.reset();
  tool->isPolite = true;
  clock->advance(10s);
  EXPECT_EQ(tool->running, 0) << "the tool ends with the reader";
}

TEST_F(MacmonReaderTest, NothingComesFromAToolThatIsMissing) {
  EXPECT_EQ(reader->locate(), path);
  std::filesystem::permissions(path, perms::owner_read);
  EXPECT_EQ(reader->locate(), std::nullopt);
  EXPECT_EQ(latest(3s), std::nullopt);
  EXPECT_EQ(latest(), std::nullopt);
  EXPECT_EQ(resultOf(reader->reading(), 0s), std::nullopt);
  EXPECT_TRUE(commands->taken.empty());
  std::filesystem::permissions(path, perms::owner_all);
  clock->advance(2s);
  EXPECT_EQ(tool->starts.size(), 1U) << "installed meanwhile";
  EXPECT_THAT(
      MacmonReader::usualPlaces("/bundle"),
      testing::ElementsAre("/bundle/macmon", "/opt/homebrew/bin/macmon", "/usr/local/bin/macmon"));
  EXPECT_EQ(MacmonReader::usualPlaces(std::nullopt).size(), 2U);
}

TEST(LineProcess, GivesTheLinesOfAProgramUntilItsEnd) {
  asio::io_context context;
  const auto start = [&](const std::string& script) {
    return launchLineProcess(context.get_executor(), "/bin/sh", {"-c", script});
  };
  const auto next = [&](LineProcess& process) {
    Reading line;
    asio::co_spawn(context, process.nextLine(),
                   [&](const std::exception_ptr&, Reading given) { line = std::move(given); });
    context.restart();
    context.run_for(30s);
    return line;
  };
  auto process = start("printf 'a\\n\\n'; head -c 3000000 /dev/zero; printf '\\nb\\nrest'");
  for (const Reading& line :
       {Reading("a"), Reading(""), Reading("b"), Reading("rest"), Reading()}) {
    EXPECT_EQ(next(*process), line);
  }
  process = start("trap '' TERM; echo on; while :; do sleep 1000; done");
  EXPECT_EQ(next(*process), "on");
  process->terminate();
  process.reset();
  EXPECT_FALSE(test::hasChildren());
  EXPECT_EQ(launchLineProcess(context.get_executor(), "/nonexistent/tool", {}), nullptr);
}

}  // namespace
}  // namespace orvik
