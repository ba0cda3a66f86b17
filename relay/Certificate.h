#pragma once

#include <openssl/x509.h>

#include <filesystem>
#include <stdexcept>
#include <string>
#include <vector>

#include "core/async/Clock.h"

namespace orvik::relay {

/// SHA-256 of a certificate: upper-case hexadecimal bytes with colons.
[[nodiscard]] std::string fingerprintOf(const X509& certificate);

/// The certificate by which clients know the relay, with its private key.
struct Certificate {
  /// PEM: the relay's own certificate first, then those that lead to its root.
  std::string chain;
  /// PEM, without a passphrase.
  std::string key;
  /// Where the chain is kept.
  std::filesystem::path file;
  /// SHA-256 of the relay's own certificate: upper-case hexadecimal bytes with colons.
  std::string fingerprint;
  /// From when on it is not valid any more.
  Clock::UnixTime expiry;

  /// The files hold no certificate and matching key.
  struct Unusable : std::runtime_error {
    using std::runtime_error::runtime_error;
  };
  /// A certificate is made anew when it is valid for no longer than this.
  static constexpr std::chrono::days renewal{30};

  /// Reads both from PEM files. Throws Unusable, and std::system_error when a file cannot be read.
  [[nodiscard]] static Certificate read(const std::filesystem::path& chainFile,
                                        const std::filesystem::path& keyFile);

  /// The self-signed certificate kept in `folder`. Makes the folder when it is missing, and the
  /// certificate when it is missing, expired or nearly so, broken, or without one of `names`. It
  /// is for localhost, this machine's name and `names`. Throws std::runtime_error when that cannot
  /// be done, std::invalid_argument for a name that is none.
  [[nodiscard]] static Certificate keptIn(const std::filesystem::path& folder,
                                          const std::vector<std::string>& names,
                                          Clock::UnixTime now);
};

}  // namespace orvik::relay
