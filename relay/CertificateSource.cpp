#include "relay/CertificateSource.h"

#include <sys/stat.h>

namespace orvik::relay {

namespace fs = std::filesystem;

CertificateSource::CertificateSource(fs::path chain, fs::path key)
    : chainFile(std::move(chain)), keyFile(std::move(key)) {}

CertificateSource::CertificateSource(const fs::path& kept, std::vector<std::string> forNames)
    : chainFile(kept / "certificate.pem"),
      keyFile(kept / "key.pem"),
      folder(kept),
      names(std::move(forNames)) {}

Certificate CertificateSource::load(Clock::UnixTime now) {
  // Before it is read: what changes meanwhile is read again.
  loaded = versions();
  if (!folder) {
    return Certificate::read(chainFile, keyFile);
  }
  // Should it fail, so long until the next attempt.
  renewal = now + std::chrono::hours(1);
  Certificate certificate = Certificate::keptIn(*folder, names, now);
  loaded = versions();
  renewal = certificate.expiry - Certificate::renewal;
  return certificate;
}

bool CertificateSource::mayHaveChanged(Clock::UnixTime now) const {
  return now >= renewal || versions() != loaded;
}

std::array<CertificateSource::Version, 2> CertificateSource::versions() const {
  const auto versionOf = [](const fs::path& file) {
    struct stat found {};
    std::error_code error;
    // Where it cannot be looked at, reading it says why.
    if (::stat(file.c_str(), &found) != 0) {
      return Version{};
    }
    return Version{fs::last_write_time(file, error), static_cast<std::uintmax_t>(found.st_size),
                   static_cast<std::uint64_t>(found.st_ino)};
  };
  return {versionOf(chainFile), versionOf(keyFile)};
}

}  // namespace orvik::relay
