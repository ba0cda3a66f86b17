// The test vectors that docs/protocol.md gives to a phone's author, read from that very document.

#include <gtest/gtest.h>

#include <map>
#include <sstream>

#include "core/pairing/Envelope.h"
#include "core/values/Base64.h"
#include "tests/support/Corpus.h"
#include "tests/support/Hex.h"

namespace orvik {
namespace {

using test::hex;

/// The "key = value" lines of the fenced block below the heading "Test vectors".
std::map<std::string, std::string> documentedVectors() {
  std::istringstream document(test::contentsOf(ORVIK_DOCS "/protocol.md"));
  std::map<std::string, std::string> vectors;
  std::string line;
  while (std::getline(document, line) && line != "## Test vectors") {
  }
  while (std::getline(document, line) && line != "```text") {
  }
  while (std::getline(document, line) && line != "```") {
    const std::size_t equals = line.find(" = ");
    if (equals != std::string::npos) {
      vectors[line.substr(0, equals)] = line.substr(equals + 3);
    }
  }
  return vectors;
}

Bytes bytesOfKey(const SymmetricKey& key) { return {key.data().begin(), key.data().end()}; }

/// A link without its host, which is the distributor's.
std::string withoutHost(const std::string& link) {
  constexpr std::string_view scheme = "https://";
  return link.starts_with(scheme) ? link.substr(link.find('/', scheme.size())) : link;
}

TEST(ProtocolDocument, VectorsAreWhatTheProgramDoes) {
  const auto vectors = documentedVectors();
  const auto binary = [&vectors](const char* key) { return hex(vectors.at(key)); };
  const Pairing pairing(binary("macId"), binary("secret"));

  EXPECT_EQ(withoutHost(pairing.link(vectors.at("name")).text()), withoutHost(vectors.at("link")));
  EXPECT_EQ(bytesOfKey(pairing.encKey()), binary("encKey"));
  EXPECT_EQ(bytesOfKey(pairing.authKey()), binary("authKey"));
  EXPECT_EQ(pairing.authMessage().text(), vectors.at("auth"));
  EXPECT_EQ(pairing.topic("disk_full"), vectors.at("topic"));

  const std::string& plaintext = vectors.at("plaintext");
  Bytes sealed(plaintext.size() + Envelope::tagSize);
  sealAES256GCM(pairing.encKey(), ByteView(binary("nonce")).first<Envelope::nonceSize>(),
                binary("aad"), bytesOf(plaintext), sealed);
  EXPECT_EQ(sealed, binary("sealed"));
  EXPECT_EQ(R"({"c":")" + base64URL(sealed) + R"(","n":")" + base64URL(binary("nonce")) +
                R"(","t":")" + vectors.at("kind") + R"(","v":1})",
            vectors.at("envelope"));

  const auto opened = Envelope::open(vectors.at("envelope"), pairing);
  EXPECT_EQ(std::string(1, static_cast<char>(opened.kind)), vectors.at("kind"));
  EXPECT_EQ(opened.plaintext, plaintext);
}

}  // namespace
}  // namespace orvik
