#pragma once

#include <chrono>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "relay/Limits.h"
#include "relay/ListenAddress.h"
#include "relay/MachineLimits.h"
#include "relay/cluster/JetStreamStore.h"

namespace CLI {
class App;
}

namespace orvik::relay {

/// What the operator has said, on the command line or in a file. A number of 0 stands for what
/// the machine gives.
struct Options {
  std::string listen = "127.0.0.1:47443";
  std::string listenPlain;
  bool proxyProtocol = false;
  std::string page;
  std::string certificate;
  std::string key;
  std::string state;
  std::string store;
  std::vector<std::string> names;
  std::size_t threads = 0;
  double drain = 10;
  std::string metrics;
  std::size_t maxConnections = 0;
  std::size_t maxConnectionsPerAddress = 256;
  std::size_t maxUnauthenticated = 0;
  std::size_t maxUnauthenticatedPerAddress = 32;
  std::size_t maxNewPerAddress = 256;
  std::size_t maxMessage = 1024;
  std::size_t maxPhones = 16;
  std::size_t macMessages = 10;
  std::size_t macMessagesBurst = 60;
  std::size_t macBytes = 512;
  std::size_t macBytesBurst = 4096;
  std::size_t memory = 0;
  std::string pushSubject;
  std::vector<std::string> pushServices;
  std::string pushTrust;
  std::string cluster;
  std::string clusterCredentials;
  std::string clusterTrust;
  std::string clusterName = "orvik";
  std::size_t clusterReplicas = 3;
  std::size_t clusterStorage = 0;
  std::string copyToCluster;
  bool check = false;
  bool verbose = false;

  /// Declares all options, and the file that they may stand in.
  void declare(CLI::App& app);

  /// What they come to on this machine. Throws std::runtime_error, with one line, when two of them
  /// contradict each other or the machine.
  [[nodiscard]] Limits limits(const MachineLimits& machine) const;
  /// The folder for what the relay keeps. Throws std::runtime_error when there is none.
  [[nodiscard]] std::filesystem::path stateFolder() const;
  /// The file of the store; nothing where it is to be in memory. Throws like `stateFolder`.
  [[nodiscard]] std::optional<std::filesystem::path> storeFile() const;
  /// The engine that relays share. Throws std::runtime_error, with one line, when there can be none
  /// like it.
  [[nodiscard]] JetStreamStore::Settings clusterSettings() const;
  [[nodiscard]] Clock::Duration drainTime() const;
};

/// The address that an option has. Throws std::runtime_error, with one line, when it has none.
[[nodiscard]] ListenAddress addressIn(const char* option, const std::string& text);

}  // namespace orvik::relay
