#include <gtest/gtest.h>

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

}  // namespace
}  // namespace orvik
