#include "relay/Certificate.h"

#include <fcntl.h>
#include <openssl/bio.h>
#include <openssl/evp.h>
#include <openssl/pem.h>
#include <openssl/x509.h>
#include <openssl/x509v3.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdlib>
#include <fstream>
#include <optional>
#include <span>
#include <system_error>

#include "relay/OpenSSLHandle.h"
#include "relay/SelfSigned.h"

namespace orvik::relay {

namespace fs = std::filesystem;

namespace {

using X509Handle = OpenSSLHandle<X509, X509_free>;
using KeyHandle = OpenSSLHandle<EVP_PKEY, EVP_PKEY_free>;
using MemoryHandle = OpenSSLHandle<BIO, BIO_free>;

[[noreturn]] void fail(const std::string& what) {
  throw std::system_error(errno, std::generic_category(), what);
}

std::string contentOf(const fs::path& file) {
  // Far above any chain; somebody may name a device that never ends.
  constexpr std::size_t longest = 1UL << 20U;
  errno = 0;
  std::ifstream stream(file, std::ios::binary);
  std::string content(longest, '\0');
  if (!stream.read(content.data(), longest) && !stream.eof()) {
    fail("cannot read " + file.string());
  }
  content.resize(static_cast<std::size_t>(stream.gcount()));
  return content;
}

MemoryHandle memoryOf(const std::string& text) {
  return MemoryHandle(BIO_new_mem_buf(text.data(), static_cast<int>(text.size())));
}

X509Handle certificateIn(const std::string& text) {
  return X509Handle(PEM_read_bio_X509(memoryOf(text).get(), nullptr, nullptr, nullptr));
}

KeyHandle keyIn(const std::string& text) {
  // Instead of OpenSSL's own, which would ask at the terminal.
  const auto noPassphrase = [](char*, int, int, void*) { return -1; };
  return KeyHandle(PEM_read_bio_PrivateKey(memoryOf(text).get(), nullptr, noPassphrase, nullptr));
}

}  // namespace

std::string fingerprintOf(const X509& certificate) {
  constexpr std::string_view digits = "0123456789ABCDEF";
  std::array<unsigned char, EVP_MAX_MD_SIZE> digest{};
  unsigned size = 0;
  X509_digest(&certificate, EVP_sha256(), digest.data(), &size);
  std::string text;
  for (const unsigned char byte : std::span(digest).first(size)) {
    text += text.empty() ? "" : ":";
    text += digits[byte >> 4U];
    text += digits[byte & 0xFU];
  }
  return text;
}

namespace {

/// Whether the relay may go on with a certificate that it has made earlier.
bool isGood(const Certificate& certificate, const std::vector<std::string>& names,
            Clock::UnixTime now) {
  const X509Handle x509 = certificateIn(certificate.chain);
  std::time_t soon = epochSeconds(now + Certificate::renewal);
  if (X509_cmp_time(X509_get0_notAfter(x509.get()), &soon) <= 0) {
    return false;
  }
  return std::ranges::all_of(names, [&](const std::string& name) {
    return X509_check_ip_asc(x509.get(), name.c_str(), 0) == 1 ||
           X509_check_host(x509.get(), name.c_str(), name.size(), 0, nullptr) == 1;
  });
}

std::optional<Certificate> keptCertificate(const fs::path& chainFile, const fs::path& keyFile,
                                           const std::vector<std::string>& names,
                                           Clock::UnixTime now) {
  if (!fs::exists(chainFile) || !fs::exists(keyFile)) {
    return std::nullopt;
  }
  try {
    Certificate certificate = Certificate::read(chainFile, keyFile);
    return isGood(certificate, names, now) ? std::optional(std::move(certificate)) : std::nullopt;
  } catch (const Certificate::Unusable&) {
    // The second file was never written, or somebody has edited one.
    return std::nullopt;
  }
}

/// Writes a file so that it is there completely or not at all, never readable by others meanwhile.
void writeFile(const fs::path& file, const std::string& content, mode_t mode) {
  std::string temporary = file.string() + ".XXXXXX";
  const int descriptor = mkstemp(temporary.data());
  if (descriptor < 0) {
    fail("cannot write " + file.string());
  }
  const auto size = static_cast<ssize_t>(content.size());
  const bool isWritten = write(descriptor, content.data(), content.size()) == size &&
                         fchmod(descriptor, mode) == 0 && fsync(descriptor) == 0;
  const int error = errno;
  close(descriptor);
  if (!isWritten || rename(temporary.c_str(), file.c_str()) != 0) {
    errno = isWritten ? errno : error;
    const int reason = errno;
    unlink(temporary.c_str());
    errno = reason;
    fail("cannot write " + file.string());
  }
}

void makePrivateFolder(const fs::path& folder) {
  fs::create_directories(fs::absolute(folder).parent_path());
  // A folder that is there already belongs to somebody who has set its permissions.
  if (mkdir(folder.c_str(), S_IRWXU) != 0 && errno != EEXIST) {
    fail("cannot make " + folder.string());
  }
}

std::vector<std::string> ownNames() {
  std::vector<std::string> names = {"localhost", "127.0.0.1", "::1"};
  std::array<char, 256> host{};
  if (gethostname(host.data(), host.size() - 1) == 0 && isHostName(host.data())) {
    names.emplace_back(host.data());
  }
  return names;
}

}  // namespace

Certificate Certificate::read(const fs::path& chainFile, const fs::path& keyFile) {
  Certificate certificate{contentOf(chainFile), contentOf(keyFile), chainFile, {}, {}};
  const X509Handle x509 = certificateIn(certificate.chain);
  if (x509 == nullptr) {
    throw Unusable(chainFile.string() + " holds no PEM certificate");
  }
  const KeyHandle key = keyIn(certificate.key);
  if (key == nullptr) {
    throw Unusable(keyFile.string() + " holds no PEM private key without a passphrase");
  }
  if (X509_check_private_key(x509.get(), key.get()) != 1) {
    throw Unusable(keyFile.string() + " is not the key of " + chainFile.string());
  }
  certificate.fingerprint = fingerprintOf(*x509);
  std::tm end{};
  ASN1_TIME_to_tm(X509_get0_notAfter(x509.get()), &end);
  certificate.expiry = Clock::UnixTime(std::chrono::seconds(timegm(&end)));
  return certificate;
}

Certificate Certificate::keptIn(const fs::path& folder, const std::vector<std::string>& names,
                                Clock::UnixTime now) {
  const fs::path chainFile = folder / "certificate.pem";
  const fs::path keyFile = folder / "key.pem";
  makePrivateFolder(folder);
  if (auto kept = keptCertificate(chainFile, keyFile, names, now)) {
    return *std::move(kept);
  }
  std::vector<std::string> all = ownNames();
  all.insert(all.end(), names.begin(), names.end());
  const SelfSigned made = SelfSigned::make(all, now);
  writeFile(keyFile, made.key, S_IRUSR | S_IWUSR);
  writeFile(chainFile, made.certificate, S_IRUSR | S_IWUSR | S_IRGRP | S_IROTH);
  return read(chainFile, keyFile);
}

}  // namespace orvik::relay
