#pragma once

#include <gtest/gtest.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <string>

#include "tests/support/TemporaryFolder.h"

namespace orvik::test {

/// A D-Bus daemon of the test's own, on which anybody may be any service.
struct BusDaemon {
  BusDaemon() {
    const auto settings = folder.write(
        "bus.conf",
        "<busconfig><type>session</type><listen>unix:path=" + (folder.path / "socket").string() +
            "</listen><policy context='default'><allow send_destination='*'/><allow "
            "receive_sender='*'/>"
            "<allow own='*'/></policy></busconfig>");
    std::array<int, 2> pipe{};
    EXPECT_EQ(::pipe(pipe.data()), 0);
    std::string settingsArgument = "--config-file=" + settings.string();
    std::string addressArgument = "--print-address=" + std::to_string(pipe[1]);
    std::string name = "dbus-daemon";
    std::string noFork = "--nofork";
    const std::array<char*, 5> arguments{name.data(), noFork.data(), settingsArgument.data(),
                                         addressArgument.data(), nullptr};
    EXPECT_EQ(posix_spawnp(&daemon, name.c_str(), nullptr, nullptr, arguments.data(), environ), 0);
    close(pipe[1]);
    // It writes its address when it can be connected to.
    for (char c = 0; read(pipe[0], &c, 1) == 1 && c != '\n';) {
      address += c;
    }
    close(pipe[0]);
  }
  BusDaemon(const BusDaemon&) = delete;
  BusDaemon& operator=(const BusDaemon&) = delete;
  ~BusDaemon() { end(); }

  void end() {
    if (daemon > 0) {
      kill(daemon, SIGTERM);
      waitpid(std::exchange(daemon, 0), nullptr, 0);
    }
  }

  TemporaryFolder folder;
  std::string address;
  pid_t daemon = 0;
};

}  // namespace orvik::test
