#include <gmock/gmock.h>
#include <signal.h>
#include <sys/wait.h>

#include <array>
#include <cstdio>

#include "relay/SelfSigned.h"
#include "tests/support/TemporaryFolder.h"

namespace orvik::relay {
namespace {

using testing::MatchesRegex;
using testing::StartsWith;

/// Runs the relay from a shell, which prints its process number first.
class RelayProgram : public testing::Test {
 protected:
  struct Run {
    Run(const std::string& arguments) {
      pipe = popen(("echo $$; exec " ORVIK_RELAY_PROGRAM " " + arguments).c_str(), "r");
      process = std::stoi(line());
    }
    std::string line() {
      std::array<char, 1024> text{};
      return std::fgets(text.data(), text.size(), pipe) == nullptr ? "" : text.data();
    }
    int exitCode() { return WEXITSTATUS(pclose(pipe)); }
    FILE* pipe;
    pid_t process;
  };

  /// What stands on standard error when it fails, which is one line.
  static std::string failure(const std::string& arguments) {
    Run run(arguments + " 2>&1 >/dev/null");
    std::string text = run.line();
    EXPECT_EQ(run.line(), "");
    EXPECT_EQ(run.exitCode(), 1) << text;
    return text;
  }

  const test::TemporaryFolder folder;
  const std::string state = "--state " + folder.path.string();
};

TEST_F(RelayProgram, SaysWhereItListensAndStopsWhenAsked) {
  Run run("--listen 127.0.0.1:0 " + state);
  const std::string listening = run.line();
  EXPECT_THAT(listening, MatchesRegex("orvik-relay: listening on wss://127\\.0\\.0\\.1:[0-9]+\n"));
  EXPECT_THAT(run.line(), StartsWith("orvik-relay: certificate " + folder.path.string()));
  const std::string address = listening.substr(32, listening.size() - 33);
  EXPECT_EQ(failure("--listen " + address + " " + state),
            "orvik-relay: cannot listen on " + address + ": Address already in use\n");
  kill(run.process, SIGTERM);
  EXPECT_EQ(run.exitCode(), 0);
}

TEST_F(RelayProgram, FailsWithOneLine) {
  const std::string file = folder.write("file", "text").string();
  const std::string certificate = "--certificate " + file;
  for (const std::string& arguments :
       {std::string("--listen here"), std::string("--unknown"), certificate,
        certificate + " --key " + file, certificate + " --key " + file + " " + state,
        "--state " + file, "--name '*' " + state, "--listen 192.0.2.1:1 " + state,
        std::string("--certificate /dev/zero --key /dev/zero")}) {
    EXPECT_THAT(failure(arguments), StartsWith("orvik-relay: ")) << arguments;
  }
}

}  // namespace
}  // namespace orvik::relay
