#include "relay/SelfSigned.h"

#include <openssl/bio.h>
#include <openssl/ec.h>
#include <openssl/evp.h>
#include <openssl/pem.h>
#include <openssl/x509.h>
#include <openssl/x509v3.h>

#include <algorithm>
#include <stdexcept>

#include "core/pairing/Pairing.h"
#include "relay/OpenSSLHandle.h"

namespace orvik::relay {

namespace {

using Key = OpenSSLHandle<EVP_PKEY, EVP_PKEY_free>;
using Memory = OpenSSLHandle<BIO, BIO_free>;
using Names = OpenSSLHandle<GENERAL_NAMES, GENERAL_NAMES_free>;

void require(bool succeeded) {
  if (!succeeded) {
    throw std::runtime_error("cannot make a certificate");
  }
}

/// What a memory BIO has been filled with by `write`.
template <typename Write>
std::string pem(Write write) {
  const Memory memory(BIO_new(BIO_s_mem()));
  require(memory != nullptr && write(memory.get()) == 1);
  char* data = nullptr;
  const auto size = BIO_get_mem_data(memory.get(), &data);
  return std::string(data, static_cast<std::size_t>(size));
}

void appendName(GENERAL_NAMES& names, const std::string& text) {
  OpenSSLHandle<GENERAL_NAME, GENERAL_NAME_free> name(GENERAL_NAME_new());
  require(name != nullptr);
  if (ASN1_OCTET_STRING* const address = a2i_IPADDRESS(text.c_str())) {
    GENERAL_NAME_set0_value(name.get(), GEN_IPADD, address);
  } else if (isHostName(text)) {
    OpenSSLHandle<ASN1_IA5STRING, ASN1_IA5STRING_free> host(ASN1_IA5STRING_new());
    require(host != nullptr &&
            ASN1_STRING_set(host.get(), text.data(), static_cast<int>(text.size())) == 1);
    GENERAL_NAME_set0_value(name.get(), GEN_DNS, host.release());
  } else {
    throw std::invalid_argument("\"" + text + "\" is neither a host name nor an IP address");
  }
  require(sk_GENERAL_NAME_push(&names, name.get()) > 0);
  static_cast<void>(name.release());
}

void addExtension(X509& certificate, int kind, const char* value) {
  const OpenSSLHandle<X509_EXTENSION, X509_EXTENSION_free> extension(
      X509V3_EXT_conf_nid(nullptr, nullptr, kind, value));
  require(extension != nullptr && X509_add_ext(&certificate, extension.get(), -1) == 1);
}

void setSerial(X509& certificate) {
  Bytes serial = randomBytes(16);
  // Positive, and of full length (RFC 5280, section 4.1.2.2).
  serial.front() = static_cast<std::uint8_t>((serial.front() & 0x7FU) | 0x40U);
  const OpenSSLHandle<BIGNUM, BN_free> number(
      BN_bin2bn(serial.data(), static_cast<int>(serial.size()), nullptr));
  require(number != nullptr &&
          BN_to_ASN1_INTEGER(number.get(), X509_get_serialNumber(&certificate)) != nullptr);
}

void setSubject(X509& certificate) {
  constexpr std::string_view commonName = "orvik-relay";
  X509_NAME* const subject = X509_get_subject_name(&certificate);
  require(X509_NAME_add_entry_by_NID(subject, NID_commonName, MBSTRING_UTF8,
                                     bytesOf(commonName).data(),
                                     static_cast<int>(commonName.size()), -1, 0) == 1);
  require(X509_set_issuer_name(&certificate, subject) == 1);
}

}  // namespace

bool isHostName(std::string_view text) {
  constexpr std::string_view allowed =
      "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-.";
  // The longest name and label of the DNS (RFC 1035, section 2.3.4).
  if (text.empty() || text.size() > 253 ||
      text.find_first_not_of(allowed) != std::string_view::npos) {
    return false;
  }
  for (std::size_t begin = 0; begin <= text.size();) {
    const std::size_t end = std::min(text.find('.', begin), text.size());
    const std::string_view label = text.substr(begin, end - begin);
    if (label.empty() || label.size() > 63 || label.starts_with('-') || label.ends_with('-')) {
      return false;
    }
    begin = end + 1;
  }
  return true;
}

SelfSigned SelfSigned::make(const std::vector<std::string>& names, Clock::UnixTime now) {
  const Names alternatives(GENERAL_NAMES_new());
  require(alternatives != nullptr);
  for (const std::string& name : names) {
    appendName(*alternatives, name);
  }
  const Key key(EVP_EC_gen("P-256"));
  const OpenSSLHandle<X509, X509_free> certificate(X509_new());
  require(key != nullptr && certificate != nullptr);
  X509& x509 = *certificate;
  require(X509_set_version(&x509, X509_VERSION_3) == 1);
  setSerial(x509);
  setSubject(x509);
  const std::time_t begin = epochSeconds(now - clockTolerance);
  const std::time_t end = begin + std::chrono::seconds(lifetime).count();
  require(ASN1_TIME_set(X509_getm_notBefore(&x509), begin) != nullptr &&
          ASN1_TIME_set(X509_getm_notAfter(&x509), end) != nullptr);
  require(X509_set_pubkey(&x509, key.get()) == 1);
  addExtension(x509, NID_basic_constraints, "critical,CA:FALSE");
  addExtension(x509, NID_key_usage, "critical,digitalSignature");
  addExtension(x509, NID_ext_key_usage, "serverAuth");
  require(X509_add1_ext_i2d(&x509, NID_subject_alt_name, alternatives.get(), 0, 0) == 1);
  require(X509_sign(&x509, key.get(), EVP_sha256()) > 0);

  const auto writeCertificate = [&](BIO* to) { return PEM_write_bio_X509(to, &x509); };
  const auto writeKey = [&](BIO* to) {
    return PEM_write_bio_PrivateKey(to, key.get(), nullptr, nullptr, 0, nullptr, nullptr);
  };
  return {pem(writeCertificate), pem(writeKey)};
}

}  // namespace orvik::relay
