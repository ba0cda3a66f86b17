#include "bench/load/ServerProcess.h"

#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/wait.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <sstream>
#include <stdexcept>
#include <thread>
#include <utility>

namespace orvik::load {
namespace {

namespace fs = std::filesystem;
using namespace std::chrono_literals;

constexpr auto step = 10ms;
constexpr auto startTime = 20s;
// Above the time over which a relay lets its connections go.
constexpr auto endTime = 30s;

fs::path ownFolder() {
  std::string pattern = (fs::temp_directory_path() / "relay_load-XXXXXX").string();
  if (mkdtemp(pattern.data()) == nullptr) {
    throw std::runtime_error("no folder can be made for the server");
  }
  return pattern;
}

std::string contents(const fs::path& file) {
  std::ifstream stream(file);
  return {std::istreambuf_iterator<char>(stream), {}};
}

bool names(const std::vector<std::string>& command, std::string_view option) {
  return std::ranges::any_of(command, [option](const std::string& argument) {
    return argument == option || argument.starts_with(std::string(option) + "=");
  });
}

/// The address after the first of these words in the text, when a line with it is complete.
std::optional<Target> announced(const std::string& said, std::string_view scheme) {
  const std::size_t at = said.find(scheme);
  const std::size_t end = said.find_first_of(",\n", at);
  if (at == std::string::npos || end == std::string::npos) {
    return std::nullopt;
  }
  return Target::read(std::string_view(said).substr(at + scheme.size(), end - at - scheme.size()));
}

pid_t launch(const std::vector<std::string>& command, const fs::path& said) {
  const pid_t child = fork();
  if (child != 0) {
    return child;
  }
  // However this ends, its server does.
  prctl(PR_SET_PDEATHSIG, SIGTERM);
  const int out = open(said.c_str(), O_WRONLY | O_CREAT | O_APPEND, 0600);
  dup2(out, STDOUT_FILENO);
  dup2(out, STDERR_FILENO);
  std::vector<char*> arguments;
  arguments.reserve(command.size() + 1);
  for (const std::string& argument : command) {
    arguments.push_back(const_cast<char*>(argument.c_str()));
  }
  arguments.push_back(nullptr);
  execvp(arguments[0], arguments.data());
  _exit(127);
}

}  // namespace

ServerProcess ServerProcess::start(std::vector<std::string> command, bool usesTLS,
                                   bool givesPorts) {
  ServerProcess server(-1, {});
  server.folder = ownFolder();
  if (givesPorts && !names(command, "--listen") && !names(command, "--config")) {
    for (const char* const argument :
         {"--listen", "127.0.0.1:0", "--listen-plain", "127.0.0.1:0"}) {
      command.emplace_back(argument);
    }
    if (!names(command, "--state")) {
      command.emplace_back("--state");
      command.push_back(server.folder / "state");
    }
  }
  const fs::path said = server.folder / "said";
  server.process = launch(command, said);
  const auto end = std::chrono::steady_clock::now() + startTime;
  while (std::chrono::steady_clock::now() < end) {
    if (const auto target = announced(contents(said), usesTLS ? "wss://" : "ws://")) {
      server.where = *target;
      return server;
    }
    if (waitpid(server.process, nullptr, WNOHANG) != 0) {
      server.process = -1;
      break;
    }
    std::this_thread::sleep_for(step);
  }
  throw std::runtime_error(command.front() + " did not say where it listens: " + contents(said));
}

ServerProcess::ServerProcess(pid_t process, Target target)
    : process(process), where(std::move(target)) {}

ServerProcess::ServerProcess(ServerProcess&& other) noexcept
    : process(other.process),
      where(std::move(other.where)),
      folder(std::exchange(other.folder, {})) {}

ServerProcess::~ServerProcess() {
  if (folder.empty()) {
    return;
  }
  if (process > 0) {
    kill(process, SIGTERM);
    const auto end = std::chrono::steady_clock::now() + endTime;
    while (waitpid(process, nullptr, WNOHANG) == 0) {
      if (std::chrono::steady_clock::now() > end) {
        kill(process, SIGKILL);
      }
      std::this_thread::sleep_for(step);
    }
  }
  std::error_code ignored;
  fs::remove_all(folder, ignored);
}

ServerProcess::Use ServerProcess::use() const {
  if (process == 0) {
    return {};
  }
  const fs::path folder = fs::path("/proc") / std::to_string(process);
  const std::string stat = contents(folder / "stat");
  // The name, which may hold anything, ends with the last parenthesis; then from the third field
  // on.
  const std::size_t name = stat.rfind(')');
  if (name == std::string::npos) {
    throw std::runtime_error("the server has ended");
  }
  std::istringstream fields(stat.substr(name + 1));
  const std::vector<std::string> all{std::istream_iterator<std::string>(fields), {}};
  constexpr std::size_t userTime = 11;
  constexpr std::size_t systemTime = 12;
  std::istringstream memory(contents(folder / "statm"));
  std::uint64_t total = 0;
  std::uint64_t resident = 0;
  memory >> total >> resident;
  const auto ticks = static_cast<double>(sysconf(_SC_CLK_TCK));
  return {std::stod(all.at(userTime)) / ticks, std::stod(all.at(systemTime)) / ticks,
          resident * static_cast<std::uint64_t>(sysconf(_SC_PAGESIZE))};
}

}  // namespace orvik::load
