// The test vectors that docs/protocol.md gives to a phone's author, read from that very document.

#include <gtest/gtest.h>

#include <map>
#include <sstream>

#include "core/pairing/Envelope.h"
#include "core/values/Base64.h"
#include "core/values/JSONReader.h"
#include "tests/support/Corpus.h"
#include "tests/support/Hex.h"

namespace orvik {
namespace {

using test::hex;
using Kind = Envelope::Kind;

const Pairing pairing(Bytes(16, 7), Bytes(32, 9));

TEST(Envelope, OpensWhatItSealedAndHasOneCompactForm) {
  for (const auto& [kind, t] :
       {std::pair{Kind::sample, R"("s")"}, {Kind::alert, R"("a")"}, {Kind::control, R"("c")"}}) {
    for (const std::size_t size : {0UL, 1UL, 16UL, 17UL, 100'000UL}) {
      const std::string plaintext(size, 'x');
      const std::string sealed = Envelope::seal(plaintext, kind, pairing);
      const auto opened = Envelope::open(sealed, pairing);
      EXPECT_EQ(opened.plaintext, plaintext);
      EXPECT_EQ(opened.kind, kind);
      const UntypedValue value = readJSON(sealed);
      const UntypedValue again = readJSON(Envelope::seal(plaintext, kind, pairing));
      EXPECT_EQ(sealed, R"({"c":")" + *value.get<std::string>("c") + R"(","n":")" +
                            *value.get<std::string>("n") + R"(","t":)" + t + R"(,"v":1})");
      EXPECT_NE(*value.get<std::string>("n"), *again.get<std::string>("n"));
      EXPECT_NE(*value.get<std::string>("c"), *again.get<std::string>("c"));
    }
  }
}

TEST(Envelope, EveryChangedBitIsNoticed) {
  const std::string sealed = Envelope::seal(R"({"cpu_pct":12.5})", Kind::alert, pairing);
  const auto ciphertext = [](const std::string& text) {
    return bytesFromBase64URL(*readJSON(text).get<std::string>("c"));
  };
  for (std::size_t bit = 0; bit < sealed.size() * 8; ++bit) {
    std::string changed = sealed;
    changed[bit / 8] = static_cast<char>(changed[bit / 8] ^ (1 << bit % 8));
    try {
      // Only a change that means the same, as of "-" to "+", may still open, to the same.
      EXPECT_EQ(Envelope::open(changed, pairing).plaintext, R"({"cpu_pct":12.5})") << bit;
      EXPECT_EQ(ciphertext(changed), ciphertext(sealed));
    } catch (const std::runtime_error&) {
    }
  }
  for (std::size_t size = 0; size < sealed.size(); ++size) {
    EXPECT_THROW((void)Envelope::open(sealed.substr(0, size), pairing), JSONError);
  }
}

TEST(Envelope, FailuresAreToldApart) {
  const std::string sealed = Envelope::seal("x", Kind::sample, pairing);
  std::string swapped = sealed;
  swapped.replace(swapped.find(R"("t":"s")"), 7, R"("t":"a")");
  for (const auto& [text, by] : {std::pair{swapped, pairing},
                                 {sealed, Pairing(Bytes(16, 8), Bytes(32, 9))},
                                 {sealed, Pairing(Bytes(16, 7), Bytes(32, 8))}}) {
    EXPECT_THROW((void)Envelope::open(text, by), Envelope::CipherError);
  }
  std::string more = sealed;
  more.insert(1, R"("extra":[1],)");
  EXPECT_EQ(Envelope::open(more, pairing).plaintext, "x");
}

#ifdef ORVIK_HAS_CORPUS
TEST(CorpusAESGCM, MatchesWycheproof) {
  const auto file =
      readJSON(test::contentsOf(test::corpus() / "vectors/wycheproof/aes_gcm_test.json"));
  int count = 0;
  for (const auto& group : *file.get<UntypedValue::List>("testGroups")) {
    const auto number = [&group](const char* key) { return *group.get<std::int64_t>(key); };
    if (number("keySize") != 256 || number("ivSize") != 96 || number("tagSize") != 128) {
      continue;
    }
    for (const auto& vector : *group.get<UntypedValue::List>("tests")) {
      SCOPED_TRACE(*vector.get<std::int64_t>("tcId"));
      const auto field = [&vector](const char* key) { return hex(*vector.get<std::string>(key)); };
      const Bytes keyBytes = field("key");
      const SymmetricKey key(ByteView(keyBytes).first<32>());
      const Bytes nonceBytes = field("iv");
      const auto nonce = ByteView(nonceBytes).first<12>();
      const Bytes sealed = hex(*vector.get<std::string>("ct") + *vector.get<std::string>("tag"));
      if (*vector.get<std::string>("result") == "valid") {
        const Bytes plaintext = field("msg");
        Bytes output(plaintext.size() + Envelope::tagSize);
        sealAES256GCM(key, nonce, field("aad"), plaintext, output);
        EXPECT_EQ(output, sealed);
        EXPECT_EQ(openAES256GCM(key, nonce, field("aad"), sealed), textOf(plaintext));
      } else {
        EXPECT_THROW((void)openAES256GCM(key, nonce, field("aad"), sealed), Envelope::CipherError);
      }
      ++count;
    }
  }
  EXPECT_EQ(count, 66);
}
#endif

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
