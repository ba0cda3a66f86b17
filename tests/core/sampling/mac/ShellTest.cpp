#include <boost/asio/bind_cancellation_slot.hpp>
#include <boost/asio/cancellation_signal.hpp>
#include <boost/asio/co_spawn.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/strand.hpp>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <signal.h>
#include <sys/stat.h>

#include <array>
#include <cmath>
#include <list>
#include <optional>

#include "core/sampling/mac/Shell.h"
#include "core/system/ProcessSystem.h"
#include "tests/support/Children.h"
#include "tests/support/TemporaryFolder.h"

namespace orvik {
namespace {

using Seconds = CommandRunner::Seconds;
using namespace std::chrono_literals;

constexpr Seconds ample = 60s;

std::string shell(const std::string& script, Seconds timeout = ample) {
  return Shell::runBlocking("/bin/sh", {"-c", script}, timeout);
}

std::ptrdiff_t openDescriptors() {
  const std::filesystem::directory_iterator all("/dev/fd");
  return std::distance(begin(all), end(all));
}

/// A pipe that scripts write their process number to and keep open as descriptor 9, as does
/// whatever they start: it comes to its end when the last of them has.
struct Witness {
  Witness() {
    mkfifo(path.c_str(), S_IRUSR | S_IWUSR);
    pipe = FileDescriptor(open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC));
  }
  [[nodiscard]] std::string watched(const std::string& script) const {
    return "exec 9>'" + path + "'; echo $$ >&9; " + script;
  }
  /// What the next write brings; nothing at the end.
  [[nodiscard]] std::string next() const {
    pollfd ready{pipe.get(), POLLIN, 0};
    if (poll(&ready, 1, 20'000) != 1) {
      return "still running";
    }
    std::array<char, 256> text{};
    return {text.data(), static_cast<std::size_t>(
                             std::max<ssize_t>(0, read(pipe.get(), text.data(), text.size())))};
  }
  test::TemporaryFolder folder;
  std::string path = folder.path / "witness";
  FileDescriptor pipe;
};

TEST(Shell, GivesTheOutputOfACommandThatEnds) {
  signal(SIGUSR1, SIG_IGN);
  setenv("LC_ALL", "tr_TR.UTF-8", 1);
  const FileDescriptor inheritable(fcntl(STDIN_FILENO, F_DUPFD, 100));
  const std::pair<const char*, std::string> cases[] = {
      {"echo one; echo two", "one\ntwo\n"},
      {"printf 'a\\377b'", "a\uFFFDb"},
      {"echo unseen >&2; echo seen; exit 3", "seen\n"},
      {"cat; echo end", "end\n"},
      {"echo before; kill -USR1 $$; echo after", "before\n"},
      {"for n in 3 4 5 6 7 8 9 100; do test -e /dev/fd/$n && echo $n; done", ""},
      {"printf %s \"$LC_ALL:$LANG:$LC_CTYPE\"",
       std::string("::") + ProcessSystem::characterTypeUTF8},
      // What it leaves in the background without holding the pipe is no affair of ours.
      {"sleep 1 >/dev/null & echo done", "done\n"},
      {"sleep 0.2; echo late", "late\n"},
  };
  for (const auto& [script, output] : cases) {
    EXPECT_EQ(shell(script), output) << script;
  }
  EXPECT_EQ(shell("echo on", Seconds(INFINITY)), "on\n");
  for (const double none : {0.0, -1.0, std::nan("")}) {
    EXPECT_EQ(shell("echo off", Seconds(none)), "");
  }
  const test::TemporaryFolder folder;
  for (const std::string& path : {std::string("/nonexistent/tool"), std::string(), std::string("/"),
                                  folder.write("text", "#!/bin/sh\necho no").string()}) {
    EXPECT_EQ(Shell::runBlocking(path, {}, ample), "") << path;
  }
  EXPECT_FALSE(test::hasChildren());
  unsetenv("LC_ALL");
  signal(SIGUSR1, SIG_DFL);
}

TEST(Shell, TakesUpTo64MiB) {
  EXPECT_EQ(shell("head -c 67108864 /dev/zero").size(), Shell::maximumOutput);
  const Witness witness;
  EXPECT_EQ(shell(witness.watched("head -c 67108865 /dev/zero; sleep 1000")), "");
  EXPECT_NE(witness.next(), "");
  EXPECT_EQ(witness.next(), "");
}

TEST(Shell, NothingIsLeftOfACommandThatTimedOut) {
  for (const char* script : {
           "echo lost; sleep 1000",
           "trap '' TERM; sleep 1000; sleep 1000",
           "sleep 1000 & exit 0",
           "exec >/dev/null; sleep 1000",
           "(trap '' TERM; exec sleep 1000 >/dev/null) & sleep 1000",
           "while :; do echo more; done",
       }) {
    const Witness witness;
    const auto begun = std::chrono::steady_clock::now();
    EXPECT_EQ(shell(witness.watched(script), 300ms), "") << script;
    const auto elapsed = std::chrono::steady_clock::now() - begun;
    EXPECT_GE(elapsed, 300ms) << script;
    EXPECT_LT(elapsed, 20s) << script;
    EXPECT_FALSE(test::hasChildren()) << script;
    EXPECT_NE(witness.next(), "") << script;
    EXPECT_EQ(witness.next(), "") << script;
  }
}

TEST(Shell, NobodyWaitsForWhatHasLeftTheGroup) {
  const Witness witness;
  const auto begun = std::chrono::steady_clock::now();
  const std::string leave = "setsid; open W, q(>&=9); syswrite W, $$; sleep 1000";
  EXPECT_EQ(
      shell("exec 9>'" + witness.path + "'; perl -MPOSIX=setsid -e '" + leave + "' & wait", 2s),
      "");
  EXPECT_LT(std::chrono::steady_clock::now() - begun, 20s);
  EXPECT_FALSE(test::hasChildren());
  EXPECT_EQ(kill(std::stoi(witness.next()), SIGKILL), 0) << "it has the pipe to this day";
  EXPECT_EQ(witness.next(), "");
}

/// A script that a coroutine waits for on a strand of its own. Goes before its io_context.
struct Call {
  Call(asio::io_context& context, Shell& runner, std::string script) {
    std::vector<std::string> arguments{"-c", std::move(script)};
    asio::co_spawn(asio::make_strand(context), runner.run("/bin/sh", std::move(arguments), ample),
                   asio::bind_cancellation_slot(
                       cancellation.slot(), [&](const std::exception_ptr& thrown, auto output) {
                         EXPECT_TRUE(context.get_executor().running_in_this_thread());
                         failure = thrown;
                         text = std::move(output);
                       }));
  }
  void cancel() { cancellation.emit(asio::cancellation_type::terminal); }
  asio::cancellation_signal cancellation;
  std::exception_ptr failure;
  std::string text;
};

TEST(Shell, RunsManyAtOnceWithoutGrowing) {
  asio::io_context context;
  Shell runner;
  const auto runAll = [&](int count) {
    std::list<Call> calls;
    for (int number = 0; number < count; ++number) {
      calls.emplace_back(context, runner, "echo " + std::to_string(number));
    }
    context.restart();
    context.run();
    for (int number = 0; const Call& call : calls) {
      EXPECT_EQ(call.text, std::to_string(number++) + "\n");
    }
  };
  runAll(1);  // opens what the executor needs
  const std::ptrdiff_t before = openDescriptors();
  runAll(200);
  EXPECT_EQ(openDescriptors(), before);
  EXPECT_FALSE(test::hasChildren());
}

TEST(Shell, ACommandThatNobodyWaitsForEndsOrNeverStarts) {
  const std::array<Witness, Shell::mostAtOnce> witnesses{};
  const std::string trace = witnesses[0].folder.path / "trace";
  Shell runner;
  {
    asio::io_context context;
    std::list<Call> calls;
    for (const Witness& witness : witnesses) {
      calls.emplace_back(context, runner, "trap '' TERM; " + witness.watched("sleep 1000"));
    }
    Call& queued = calls.emplace_back(context, runner, "touch '" + trace + "'");
    context.poll();
    for (const Witness& witness : witnesses) {
      EXPECT_NE(witness.next(), "");
    }
    queued.cancel();
    calls.front().cancel();
    context.poll();
    EXPECT_TRUE(queued.failure && calls.front().failure);
    EXPECT_EQ(witnesses[0].next(), "");
    // Room for one more; the others go with their executor.
    Call last(context, runner, "echo last");
    while (last.text.empty()) {
      context.run_one();
    }
    EXPECT_EQ(last.text, "last\n");
  }
  for (const Witness& witness : witnesses) {
    EXPECT_EQ(witness.next(), "");
  }
  EXPECT_FALSE(std::filesystem::exists(trace));
}

}  // namespace
}  // namespace orvik
