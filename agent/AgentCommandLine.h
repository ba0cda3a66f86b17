#pragma once

#include <filesystem>
#include <optional>
#include <stdexcept>
#include <string>

#include "core/alerts/Alert.h"

namespace orvik {

/// What the user asks orvik-agent to do.
struct AgentCommandLine {
  /// Base URL of the relay; nothing for the one that is remembered, or the build's.
  std::optional<std::string> relay;
  /// The host in the link, where it is not the relay's.
  std::string linkHost;
  /// A file of further certificates (PEM) to trust.
  std::optional<std::filesystem::path> trust;
  /// The name that the phone shows.
  std::string name;
  /// Where the pairing link is written, readable by the user alone.
  std::optional<std::filesystem::path> linkFile;
  /// Samples come out of this file instead of the machine.
  std::optional<std::filesystem::path> sampleFile;
  /// An alert of this kind is sent at the start and at every SIGUSR1.
  std::optional<Alert::Kind> emitAlert;
  /// A new pairing takes the place of the stored one.
  bool newPairing = false;
  /// The pairing is not printed. For services: their output is kept where others may read it.
  bool hidesLink = false;
  /// Changes of the relay state are not printed.
  bool quiet = false;

  /// Nothing when the user asked for help or for the version, which has been printed. Throws
  /// std::invalid_argument with one line for the user.
  [[nodiscard]] static std::optional<AgentCommandLine> parse(int argc, const char* const* argv);
};

}  // namespace orvik
