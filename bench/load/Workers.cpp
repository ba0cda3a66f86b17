#include "bench/load/Workers.h"

#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/wait.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <stdexcept>
#include <system_error>
#include <type_traits>

namespace orvik::load {
namespace {

static_assert(std::is_trivially_copyable_v<Command> && std::is_trivially_copyable_v<Report>);

[[noreturn]] void work(const FleetPlan& plan, const FileDescriptor& channel) {
  // Whatever becomes of the one that tells it what to do.
  prctl(PR_SET_PDEATHSIG, SIGKILL);
  try {
    Fleet fleet(plan);
    Command command{};
    while (recv(channel.get(), &command, sizeof command, 0) == sizeof command) {
      const Report report = fleet.carryOut(command);
      if (send(channel.get(), &report, sizeof report, MSG_NOSIGNAL) != sizeof report) {
        break;
      }
    }
    _exit(0);
  } catch (const std::exception& error) {
    std::fprintf(stderr, "relay_load: %s\n", error.what());
    _exit(1);
  }
}

/// Of so many, those of one of several.
std::size_t shareOf(std::size_t whole, std::size_t at, std::size_t parts) {
  return whole * (at + 1) / parts - whole * at / parts;
}

void add(Report& sum, const Report& part) {
  sum.accepted += part.accepted;
  sum.refused += part.refused;
  sum.lost += part.lost;
  sum.sent += part.sent;
  sum.delivered += part.delivered;
  sum.presences += part.presences;
  sum.lastAccepted = std::max(sum.lastAccepted, part.lastAccepted);
  sum.lastPresence = std::max(sum.lastPresence, part.lastPresence);
  sum.informed += part.informed;
  if (part.firstLost != 0 && (sum.firstLost == 0 || part.firstLost < sum.firstLost)) {
    sum.firstLost = part.firstLost;
  }
  sum.latency.add(part.latency);
  sum.presenceLatency.add(part.presenceLatency);
  if (sum.trouble.front() == '\0') {
    sum.trouble = part.trouble;
  }
}

}  // namespace

Workers::Workers(const FleetPlan& plan, std::size_t processes) {
  for (std::size_t at = 0; at < processes; ++at) {
    FleetPlan own = plan;
    own.firstPairing = plan.pairings * at / processes;
    own.pairings = shareOf(plan.pairings, at, processes);
    std::array<int, 2> ends{};
    if (socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, ends.data()) != 0) {
      throw std::system_error(errno, std::generic_category(), "socketpair");
    }
    FileDescriptor ours(ends[0]);
    const FileDescriptor its(ends[1]);
    const pid_t process = fork();
    if (process < 0) {
      throw std::system_error(errno, std::generic_category(), "fork");
    }
    if (process == 0) {
      workers.clear();
      ours = FileDescriptor();
      work(own, its);
    }
    workers.push_back({process, std::move(ours)});
  }
}

Workers::~Workers() {
  for (Worker& worker : workers) {
    worker.channel = FileDescriptor();
  }
  for (const Worker& worker : workers) {
    kill(worker.process, SIGTERM);
    waitpid(worker.process, nullptr, 0);
  }
}

Report Workers::carryOut(const Command& command) {
  const auto parts = static_cast<double>(workers.size());
  for (std::size_t at = 0; at < workers.size(); ++at) {
    Command own = command;
    own.pairings = shareOf(command.pairings, at, workers.size());
    own.rate = command.rate / parts;
    own.presenceRate = command.presenceRate / parts;
    if (send(workers[at].channel.get(), &own, sizeof own, MSG_NOSIGNAL) != sizeof own) {
      throw std::runtime_error("a process of the load has ended");
    }
  }
  Report sum;
  for (const Worker& worker : workers) {
    Report part;
    if (recv(worker.channel.get(), &part, sizeof part, 0) != sizeof part) {
      throw std::runtime_error("a process of the load has ended");
    }
    add(sum, part);
  }
  return sum;
}

}  // namespace orvik::load
