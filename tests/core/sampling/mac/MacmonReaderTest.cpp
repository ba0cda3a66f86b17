#include <boost/asio/co_spawn.hpp>
#include <boost/asio/io_context.hpp>
#include <fcntl.h>
#include <gmock/gmock.h>
#include <sys/stat.h>

#include "core/sampling/mac/MacmonReader.h"
#include "core/system/FileDescriptor.h"
#include "tests/support/Children.h"
#include "tests/support/Corpus.h"
#include "tests/support/ManualClock.h"
#include "tests/support/TemporaryFolder.h"

namespace orvik {
namespace {

using namespace std::chrono_literals;
using std::filesystem::perms;
using Reading = std::optional<std::string>;

/// Answers every single reading, and says what was asked.
struct SingleReadings final : CommandRunner {
  asio::awaitable<std::string> run(std::string path, std::vector<std::string> arguments,
                                   Seconds timeout) override {
    for (const std::string& argument : arguments) {
      path += " " + argument;
    }
    asked.push_back(path + " " + std::to_string(timeout.count()));
    co_return answer;
  }
  std::string answer;
  std::vector<std::string> asked;
};

/// Counts the lines that are read from a real program.
struct CountedLines final : LineProcess {
  CountedLines(std::unique_ptr<LineProcess> process, int& count)
      : process(std::move(process)), count(count) {}
  asio::awaitable<Reading> nextLine() override {
    Reading line = co_await process->nextLine();
    count += line ? 1 : 0;
    co_return line;
  }
  void terminate() override { process->terminate(); }
  std::unique_ptr<LineProcess> process;
  int& count;
};

/// The tool is a real child that says what the test writes into a named pipe, and ends with it.
/// Time is the test's own.
class MacmonReaderTest : public testing::Test {
 protected:
  MacmonReaderTest() {
    mkfifo((folder.path / "says").c_str(), S_IRUSR | S_IWUSR);
    openInput();
  }

  /// Has the tool that runs, or the next one, wait for what it is to say.
  void openInput() {
    input = FileDescriptor(open((folder.path / "says").c_str(), O_RDWR | O_NONBLOCK | O_CLOEXEC));
  }
  /// Lets the tool that runs come to its end.
  void closeInput() { input = FileDescriptor(); }

  std::filesystem::path install(const std::string& script) {
    const auto tool = folder.write(
        "macmon", "#!/bin/sh\ncd '" + folder.path.string() + "'\necho \"$*\" >>starts\n" + script);
    std::filesystem::permissions(tool, perms::owner_all);
    return tool;
  }
  void startReader(const std::string& script = "exec cat says") {
    reader.emplace(std::vector<std::filesystem::path>{"/nonexistent/macmon", install(script)},
                   MacmonReader::Dependencies{
                       context.get_executor(), clock, single,
                       [this](const auto& executor, const auto& path, const auto& arguments) {
                         return std::make_unique<CountedLines>(
                             launchLineProcess(executor, path, arguments), lines);
                       }});
  }
  /// With a reader that has read the tool's first line.
  void startTool(const std::string& script = "exec cat says") {
    startReader(script);
    latest(false);
    runUntilStarted(1);
    says("{}\n");
  }
  std::string starts() { return test::contentsOf(folder.path / "starts"); }

  /// Has the tool say this; returns when the reader has read so many lines of it.
  void says(std::string_view text, int count = 1) {
    const int expected = lines + count;
    runUntil([&] {
      const ssize_t written = text.empty() ? 0 : write(input.get(), text.data(), text.size());
      text.remove_prefix(static_cast<std::size_t>(std::max<ssize_t>(written, 0)));
      return text.empty() && lines == expected;
    });
  }

  /// Runs what the child's doings make ready; time stands still.
  void runUntil(const std::function<bool()>& condition) {
    const auto limit = std::chrono::steady_clock::now() + 30s;
    clock->settle();
    while (!condition()) {
      ASSERT_LT(std::chrono::steady_clock::now(), limit);
      context.restart();
      context.run_one_for(10ms);
      clock->settle();
    }
  }
  void runUntilStarted(std::ptrdiff_t times) {
    runUntil([&] { return std::ranges::count(starts(), '\n') == times; });
  }

  /// What an operation gives at once or, where it takes time, within three seconds.
  Reading resultOf(asio::awaitable<Reading> operation, bool isImmediate = true) {
    std::optional<Reading> result;
    asio::co_spawn(context, std::move(operation),
                   [&](const std::exception_ptr& failure, Reading given) {
                     EXPECT_FALSE(failure);
                     result = std::move(given);
                   });
    clock->settle();
    EXPECT_EQ(result.has_value(), isImmediate);
    if (!result) {
      clock->advance(3s);
    }
    EXPECT_TRUE(result);
    return result.value_or("nothing came");
  }
  Reading latest(bool isImmediate = true) { return resultOf(reader->latest(), isImmediate); }

  asio::io_context context;
  const std::shared_ptr<test::ManualClock> clock = std::make_shared<test::ManualClock>(context);
  const std::shared_ptr<SingleReadings> single = std::make_shared<SingleReadings>();
  const test::TemporaryFolder folder;
  FileDescriptor input;
  int lines = 0;
  std::optional<MacmonReader> reader;
};

TEST_F(MacmonReaderTest, StartsOnDemandAndGivesTheLatestValidLine) {
  startReader();
  clock->advance(10s);
  EXPECT_FALSE(test::hasChildren());
  EXPECT_EQ(resultOf(reader->reading()), std::nullopt);  // and does not start it either
  clock->advance(10s);
  EXPECT_FALSE(test::hasChildren());

  Reading first;
  asio::co_spawn(context, reader->latest(),
                 [&](const std::exception_ptr&, Reading line) { first = std::move(line); });
  runUntilStarted(1);
  EXPECT_EQ(starts(), "pipe -i 1000\n");
  says("{\"a\":1}\n");
  EXPECT_EQ(first, std::nullopt);
  clock->advance(100ms);
  EXPECT_EQ(first, "{\"a\":1}");

  says("{\"a\":2}\nnot JSON\n[1]\n{\"cut\":\n\n\xFF\n", 6);
  says(std::string(3 << 20, ' ') + "{}\n.\n");  // the first is too long to be read at all
  clock->advance(5s);
  EXPECT_EQ(latest(), "{\"a\":2}");
  EXPECT_EQ(resultOf(reader->reading()), "{\"a\":2}");
  clock->advance(1ns);
  EXPECT_EQ(latest(), std::nullopt);
  single->asked.clear();
  single->answer = "a warning\n{\"b\":1}\n";
  EXPECT_EQ(resultOf(reader->reading()), "{\"b\":1}");
  EXPECT_THAT(single->asked, testing::ElementsAre((folder.path / "macmon").string() +
                                                  " pipe -s 1 -i 500 8.000000"));
}

TEST_F(MacmonReaderTest, StopsAMinuteAfterTheLastQuestion) {
  startTool();
  EXPECT_EQ(latest(), "{}");
  for (int count = 0; count < 6; ++count) {
    clock->advance(9s);
    says("{}\n");
    EXPECT_EQ(resultOf(reader->reading()), "{}");  // does not count as a question
  }
  clock->advance(6s - 1ns);
  says("{}\n");
  EXPECT_TRUE(test::hasChildren());
  clock->advance(1ns);
  says("not JSON\n");
  runUntil([] { return !test::hasChildren(); });
  clock->advance(10s);
  EXPECT_FALSE(test::hasChildren());
  EXPECT_EQ(latest(), std::nullopt);
  clock->advance(2s);
  runUntilStarted(2);
}

TEST_F(MacmonReaderTest, StartsAToolAgainThatHasEnded) {
  startTool();
  closeInput();
  runUntilStarted(2);
  openInput();
  says("{}\n");
  closeInput();
  // It has run for less than two seconds: not at once.
  runUntil([] { return !test::hasChildren(); });
  clock->advance(2s - 1ns);
  EXPECT_FALSE(test::hasChildren());
  clock->advance(1ns);
  runUntilStarted(3);
}

TEST_F(MacmonReaderTest, EndsAToolThatStalls) {
  startTool("trap '' TERM; cat says; sleep 1000");
  clock->advance(10s - 1ns);
  runUntilStarted(1);
  clock->advance(1ns);
  EXPECT_TRUE(test::hasChildren());  // has been asked
  clock->advance(1s);
  runUntilStarted(2);
  says("{\"a\":1}\n");
  EXPECT_EQ(latest(), "{\"a\":1}");
}

TEST_F(MacmonReaderTest, NothingComesFromAToolThatIsMissing) {
  startReader();
  EXPECT_EQ(reader->locate(), folder.path / "macmon");
  std::filesystem::permissions(folder.path / "macmon", perms::owner_read);
  EXPECT_EQ(reader->locate(), std::nullopt);
  EXPECT_EQ(latest(false), std::nullopt);
  EXPECT_EQ(latest(), std::nullopt);
  EXPECT_EQ(resultOf(reader->reading()), std::nullopt);
  EXPECT_THAT(single->asked, testing::IsEmpty());
  std::filesystem::permissions(folder.path / "macmon", perms::owner_all);
  clock->advance(2s);
  runUntilStarted(1);  // installed meanwhile
  EXPECT_THAT(
      MacmonReader::usualPlaces("/bundle"),
      testing::ElementsAre("/bundle/macmon", "/opt/homebrew/bin/macmon", "/usr/local/bin/macmon"));
  EXPECT_EQ(MacmonReader::usualPlaces(std::nullopt).size(), 2U);
}

TEST_F(MacmonReaderTest, TheToolEndsWithTheReader) {
  startTool();
  EXPECT_TRUE(test::hasChildren());
  asio::co_spawn(context, reader->latest(), [](const std::exception_ptr&, const Reading&) {});
  reader.reset();
  runUntil([] { return !test::hasChildren(); });
  clock->advance(10s);
  EXPECT_FALSE(test::hasChildren());
}

}  // namespace
}  // namespace orvik
