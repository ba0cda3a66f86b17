#pragma once

#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cstdlib>
#include <string>

#include "tests/support/TemporaryFolder.h"

namespace orvik::test {

/// A D-Bus bus of the test's own, on which everything is allowed.
class BusDaemon {
 public:
  BusDaemon() {
    const auto settings = folder.write(
        "bus.conf",
        "<busconfig><type>session</type><listen>unix:path=" + (folder.path / "socket").string() +
            "</listen><policy context='default'><allow send_destination='*'/><allow "
            "receive_sender='*'/>"
            "<allow own='*'/></policy></busconfig>");
    std::array<int, 2> pipe{};
    if (::pipe(pipe.data()) != 0) {
      std::abort();
    }
    std::string settingsArgument = "--config-file=" + settings.string();
    std::string addressArgument = "--print-address=" + std::to_string(pipe[1]);
    std::string name = "dbus-daemon";
    std::string noFork = "--nofork";
    const std::array<char*, 5> arguments{name.data(), noFork.data(), settingsArgument.data(),
                                         addressArgument.data(), nullptr};
    if (posix_spawnp(&daemon, name.c_str(), nullptr, nullptr, arguments.data(), environ) != 0) {
      std::abort();
    }
    close(pipe[1]);
    // It writes its address when it can be connected to.
    for (char c = 0; read(pipe[0], &c, 1) == 1 && c != '\n';) {
      address += c;
    }
    close(pipe[0]);
  }
  BusDaemon(const BusDaemon&) = delete;
  BusDaemon& operator=(const BusDaemon&) = delete;
  ~BusDaemon() { stop(); }

  /// Ends the bus; the second time nothing.
  void stop() {
    if (daemon > 0) {
      kill(daemon, SIGTERM);
      waitpid(daemon, nullptr, 0);
      daemon = 0;
    }
  }

  std::string address;

 private:
  TemporaryFolder folder;
  pid_t daemon = 0;
};

}  // namespace orvik::test
