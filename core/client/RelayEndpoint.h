#pragma once

#include <filesystem>
#include <memory>
#include <optional>
#include <string>

#include "core/system/UserDefaults.h"

namespace orvik {

/// The relay that this computer's programs talk to, and what they trust it by.
struct RelayEndpoint {
  /// Base URL, wss.
  std::string url;
  /// Certificates (PEM) to trust besides the system's.
  std::optional<std::filesystem::path> trust = {};
  /// The SHA-256 fingerprint of a certificate to trust for this relay, whoever has signed it, as
  /// "AB:CD:…"; empty without one.
  std::string fingerprint = {};
  /// The host, perhaps with a port, of the page that belongs to the relay: it stands in the link.
  std::string linkHost = {};

  /// The relay at this address. Its page is at its own host, or where the build says for the
  /// build's relay. Throws std::invalid_argument, with one line for the user, unless it is a wss
  /// URL with a host and perhaps a path.
  [[nodiscard]] static RelayEndpoint at(const std::string& url);

  /// The build's relay; nothing in a build whose relay is a reserved name, which reaches nobody:
  /// there the user says which to use.
  [[nodiscard]] static std::optional<RelayEndpoint> ofBuild();

  /// The one that the user has chosen, else the build's. In a build for development the
  /// environment comes first: ORVIK_RELAY holds an address, ORVIK_TRUST the path of a file of
  /// certificates; empty ones count as absent. Throws std::invalid_argument, naming the variable,
  /// when the address is none.
  [[nodiscard]] static std::optional<RelayEndpoint> present(const UserDefaults& preferences);

  /// Has the programs of this user take it from now on. False when it cannot be stored.
  [[nodiscard]] bool remember(UserDefaults& preferences) const;

  /// Where the choice is remembered: a domain of its own. Never null.
  [[nodiscard]] static std::unique_ptr<UserDefaults> preferences();

  bool operator==(const RelayEndpoint&) const = default;
};

}  // namespace orvik
