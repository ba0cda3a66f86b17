#pragma once

#include <array>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "relay/Certificate.h"

namespace orvik::relay {

/// Where the relay's certificate comes from, now and when it has changed.
class CertificateSource {
 public:
  /// Two files, which somebody else renews.
  CertificateSource(std::filesystem::path chainFile, std::filesystem::path keyFile);
  /// The self-signed one in a folder, which is renewed here.
  CertificateSource(const std::filesystem::path& folder, std::vector<std::string> names);

  /// Reads the certificate, or makes it. Throws as Certificate does.
  [[nodiscard]] Certificate load(Clock::UnixTime now);

  /// Whether a file is another one than at the last `load`, or it is time to renew.
  [[nodiscard]] bool mayHaveChanged(Clock::UnixTime now) const;

 private:
  /// What tells two versions of a file apart: content that is changed in place has another time.
  struct Version {
    std::filesystem::file_time_type time{};
    std::uintmax_t size = 0;
    std::uint64_t number = 0;
    bool operator==(const Version&) const = default;
  };

  [[nodiscard]] std::array<Version, 2> versions() const;

  std::filesystem::path chainFile;
  std::filesystem::path keyFile;
  /// Of the self-signed one.
  std::optional<std::filesystem::path> folder;
  std::vector<std::string> names;
  std::array<Version, 2> loaded{};
  Clock::UnixTime renewal = Clock::UnixTime::max();
};

}  // namespace orvik::relay
