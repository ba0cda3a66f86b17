#pragma once

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <regex>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "tests/support/TemporaryFolder.h"

extern char** environ;  // NOLINT(readability-redundant-declaration): not everywhere

namespace orvik::test {

/// A server of NATS on loopback with a folder of its own, from Debian's package.
class NATSServer {
 public:
  static std::filesystem::path program() {
    for (const char* const path :
         {"/usr/sbin/nats-server", "/usr/local/bin/nats-server", "/opt/homebrew/bin/nats-server"}) {
      if (std::filesystem::exists(path)) {
        return path;
      }
    }
    return {};
  }

  /// `configuration` goes into its file; JetStream is off unless that says otherwise.
  explicit NATSServer(std::string configuration) : text(std::move(configuration)) { start(); }
  NATSServer(const NATSServer&) = delete;
  NATSServer& operator=(const NATSServer&) = delete;
  ~NATSServer() { kill(); }

  /// What has a server keep streams.
  static std::string jetStream(const std::string& more = "") {
    return "jetstream {\n  store_dir: \"FOLDER\"\n  " + more + "\n}\n";
  }

  [[nodiscard]] std::string url(const std::string& user = "") const {
    return "nats://" + user + "127.0.0.1:" + std::to_string(port);
  }
  void kill() {
    if (process > 0) {
      ::kill(process, SIGKILL);
      ::waitpid(std::exchange(process, 0), nullptr, 0);
    }
  }
  /// At the same port as before, with what it had kept. As it is configured now.
  void start(const std::string& configuration = "") {
    text = configuration.empty() ? text : configuration;
    std::string whole = "listen: 127.0.0.1:" + std::to_string(port == 0 ? -1 : port) + "\n" + text;
    const std::string folderName = (folder.path / "streams").string();
    if (const auto place = whole.find("FOLDER"); place != std::string::npos) {
      whole.replace(place, 6, folderName);
    }
    const std::string file = folder.write("server.conf", whole).string();
    std::string name = program().string();
    const std::string ports = folder.path.string();
    std::vector<std::string> words = {name, "-c", file, "--ports_file_dir", ports};
    std::vector<char*> arguments;
    for (std::string& word : words) {
      arguments.push_back(word.data());
    }
    arguments.push_back(nullptr);
    posix_spawn_file_actions_t actions{};
    posix_spawn_file_actions_init(&actions);
    const std::string log = (folder.path / "log").string();
    posix_spawn_file_actions_addopen(&actions, 2, log.c_str(), O_WRONLY | O_CREAT | O_APPEND, 0600);
    const int error =
        posix_spawn(&process, name.c_str(), &actions, nullptr, arguments.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    if (error != 0) {
      throw std::runtime_error("no " + name);
    }
    awaitPort();
  }

 private:
  void awaitPort() {
    const auto file = folder.path / ("nats-server_" + std::to_string(process) + ".ports");
    for (int i = 0; i < 2000; ++i) {
      std::ifstream stream(file);
      const std::string said((std::istreambuf_iterator<char>(stream)), {});
      std::smatch match;
      if (std::regex_search(said, match, std::regex(R"(nats://127\.0\.0\.1:(\d+))"))) {
        port = std::stoi(match[1]);
        return;
      }
      std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    throw std::runtime_error("nats-server does not begin");
  }

  const TemporaryFolder folder;
  std::string text;
  pid_t process = 0;
  int port = 0;
};

}  // namespace orvik::test
