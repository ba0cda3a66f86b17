#pragma once

#include <filesystem>
#include <optional>
#include <string>

namespace orvik {

/// The relay that the application talks to.
struct RelayEndpoint {
  /// Base URL, wss.
  std::string url;
  /// Certificates (PEM) to trust besides the system's.
  std::optional<std::filesystem::path> trust;

  /// The build's relay, unless the environment names another one, for developers: ORVIK_RELAY holds
  /// its URL, ORVIK_TRUST the path of a file of certificates. Empty variables count as absent.
  /// Throws std::invalid_argument, naming the variable, when the URL is no wss URL.
  [[nodiscard]] static RelayEndpoint fromEnvironment();
};

}  // namespace orvik
