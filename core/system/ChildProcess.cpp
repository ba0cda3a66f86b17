#include "core/system/ChildProcess.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <mutex>
#include <string_view>

#include "core/system/ProcessSystem.h"

extern char** environ;

namespace orvik {

namespace {

/// How long a killed process may take to end: it is gone within microseconds unless it waits in
/// the kernel, for a disk or a network volume that does not answer.
constexpr int killMilliseconds = 1000;

/// Whether the process is no longer ours to wait for.
bool reaped(pid_t process) {
  int status = 0;
  const pid_t result = waitpid(process, &status, WNOHANG);
  return result == process || (result < 0 && errno == ECHILD);
}

/// Killed processes that had not ended when their owner went away. Each start looks after them.
class Stragglers {
 public:
  void add(pid_t process) {
    const std::lock_guard guard(lock);
    processes.push_back(process);
  }
  void reap() {
    const std::lock_guard guard(lock);
    std::erase_if(processes, reaped);
  }

 private:
  std::mutex lock;
  std::vector<pid_t> processes;
};

Stragglers& stragglers() {
  static Stragglers all;
  return all;
}

/// Pointers to the texts, ended by a null pointer, as the system's calls take them.
std::vector<char*> pointers(std::vector<std::string>& texts) {
  std::vector<char*> all;
  all.reserve(texts.size() + 1);
  for (std::string& text : texts) {
    all.push_back(text.data());
  }
  all.push_back(nullptr);
  return all;
}

std::vector<std::string> environmentWithoutLanguage() {
  std::vector<std::string> all{std::string("LC_CTYPE=") + ProcessSystem::characterTypeUTF8};
  for (char** entry = environ; entry != nullptr && *entry != nullptr; ++entry) {
    const std::string_view text(*entry);
    if (!text.starts_with("LC_") && !text.starts_with("LANG=") && !text.starts_with("LANGUAGE=")) {
      all.emplace_back(text);
    }
  }
  return all;
}

/// What the system is told about a program that it is to start.
class SpawnOrder {
 public:
  SpawnOrder() {
    posix_spawnattr_init(&attributes);
    posix_spawn_file_actions_init(&actions);
  }
  SpawnOrder(const SpawnOrder&) = delete;
  SpawnOrder& operator=(const SpawnOrder&) = delete;
  ~SpawnOrder() {
    posix_spawn_file_actions_destroy(&actions);
    posix_spawnattr_destroy(&attributes);
  }

  [[nodiscard]] bool prepare(int output) {
    // The pipe comes first: its number may be one of those that are opened after it.
    return posix_spawn_file_actions_adddup2(&actions, output, STDOUT_FILENO) == 0 &&
           openNull(STDIN_FILENO, O_RDONLY) && openNull(STDERR_FILENO, O_WRONLY) &&
           ownGroupAndPlainSignals() && ProcessSystem::inheritStandardOnly(attributes, actions);
  }

  /// The new process, or 0 when there is none.
  [[nodiscard]] pid_t start(const std::string& path, std::vector<std::string> arguments) const {
    arguments.insert(arguments.begin(), path);
    std::vector<std::string> environment = environmentWithoutLanguage();
    pid_t process = 0;
    return posix_spawn(&process, path.c_str(), &actions, &attributes, pointers(arguments).data(),
                       pointers(environment).data()) == 0
               ? process
               : 0;
  }

 private:
  bool openNull(int descriptor, int mode) {
    return posix_spawn_file_actions_addopen(&actions, descriptor, "/dev/null", mode, 0) == 0;
  }

  bool ownGroupAndPlainSignals() {
    sigset_t none;
    sigset_t all;
    sigemptyset(&none);
    sigfillset(&all);
    // These two cannot be set, and some systems refuse to try.
    sigdelset(&all, SIGKILL);
    sigdelset(&all, SIGSTOP);
    constexpr short flags = POSIX_SPAWN_SETPGROUP | POSIX_SPAWN_SETSIGDEF | POSIX_SPAWN_SETSIGMASK;
    return posix_spawnattr_setflags(&attributes, flags) == 0 &&
           posix_spawnattr_setpgroup(&attributes, 0) == 0 &&
           posix_spawnattr_setsigdefault(&attributes, &all) == 0 &&
           posix_spawnattr_setsigmask(&attributes, &none) == 0;
  }

  posix_spawnattr_t attributes{};
  posix_spawn_file_actions_t actions{};
};

}  // namespace

std::unique_ptr<ChildProcess> ChildProcess::start(const std::string& path,
                                                  const std::vector<std::string>& arguments) {
  stragglers().reap();
  std::optional<ProcessSystem::Pipe> pipe = ProcessSystem::openPipe();
  SpawnOrder order;
  if (!pipe || !order.prepare(pipe->writingEnd.get())) {
    return nullptr;
  }
  const pid_t process = order.start(path, arguments);
  if (process == 0) {
    return nullptr;
  }
  auto child = std::make_unique<ChildProcess>(Started{process, std::move(pipe->readingEnd)});
  // One whose end cannot be noticed is of no use, and ends here.
  return child->end ? std::move(child) : nullptr;
}

ChildProcess::ChildProcess(Started started)
    : output(std::move(started.output)),
      process(started.process),
      end(ProcessSystem::watchEnd(process)) {}

ChildProcess::~ChildProcess() {
  if (process == 0) {
    return;
  }
  signal(SIGKILL);
  pollfd watched{end.get(), POLLIN, 0};
  while (poll(&watched, 1, killMilliseconds) < 0 && errno == EINTR) {
  }
  if (!reaped(process)) {
    stragglers().add(process);
  }
}

void ChildProcess::terminate() const {
  if (process != 0) {
    signal(SIGTERM);
  }
}

void ChildProcess::collect() {
  // The end may be told some microseconds before there is anything to wait for.
  while (process != 0 && waitpid(process, nullptr, 0) < 0 && errno == EINTR) {
  }
  process = 0;
}

void ChildProcess::signal(int number) const {
  kill(-process, number);
  // Once more by itself, lest it has moved to another group.
  kill(process, number);
}

}  // namespace orvik
