#include <gmock/gmock.h>
#include <sys/wait.h>

#include <cstdio>

#include "tests/support/TemporaryFolder.h"

namespace orvik::relay {
namespace {

using testing::MatchesRegex;

/// What stands on standard error, and the exit code.
std::pair<std::string, int> failure(const std::string& arguments) {
  FILE* const pipe = popen((ORVIK_RELAY_PROGRAM " " + arguments + " 2>&1 >/dev/null").c_str(), "r");
  std::string text;
  for (int c = std::fgetc(pipe); c != EOF; c = std::fgetc(pipe)) {
    text += static_cast<char>(c);
  }
  return {text, WEXITSTATUS(pclose(pipe))};
}

TEST(RelayProgram, FailsWithOneLine) {
  const test::TemporaryFolder folder;
  const std::string state = "--state " + folder.path.string();
  const std::string file = folder.write("file", "text").string();
  const std::string certificate = "--certificate " + file;
  for (const std::string& arguments :
       {std::string("--listen here"), std::string("--unknown"), certificate,
        certificate + " --key " + file, certificate + " --key " + file + " " + state,
        "--state " + file, "--name '*' " + state, "--listen-plain 0.0.0.0:0 " + state,
        "--page " + file + " " + state, "--listen 192.0.2.1:1 " + state,
        std::string("--certificate /dev/zero --key /dev/zero")}) {
    const auto [text, code] = failure(arguments);
    EXPECT_EQ(code, 1) << arguments;
    EXPECT_THAT(text, MatchesRegex("orvik-relay: [^\n]+\n")) << arguments;
  }
}

}  // namespace
}  // namespace orvik::relay
