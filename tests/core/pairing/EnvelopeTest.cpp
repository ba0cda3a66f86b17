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

SymmetricKey keyFrom(const Bytes& bytes) { return SymmetricKey(ByteView(bytes).first<32>()); }

std::string envelope(const std::string& c, const std::string& n, const std::string& t = R"("s")",
                     const std::string& v = "1") {
  return R"({"c":")" + c + R"(","n":")" + n + R"(","t":)" + t + R"(,"v":)" + v + "}";
}

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
      EXPECT_EQ(sealed, envelope(*value.get<std::string>("c"), *value.get<std::string>("n"), t));
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
  const std::string c = base64URL(Bytes(16));
  const std::string n = base64URL(Bytes(12));
  for (const std::string& text :
       {std::string("[]"), std::string("{}"), envelope(c, n, R"("s")", "2"),
        envelope(c, n, R"("s")", "1.0"), envelope(c, n, R"("s")", "true"),
        envelope(c, n, R"("s")", R"("1")"), envelope(c, n, R"("x")"), envelope(c, n, R"("ss")"),
        envelope(c, n, "1"), envelope(base64URL(Bytes(15)), n), envelope(c, base64URL(Bytes(11))),
        envelope(c, base64URL(Bytes(13))), envelope(c, "A"), envelope("!", n),
        R"({"c":")" + c + R"(","t":"s","v":1})", R"({"c":1,"n":")" + n + R"(","t":"s","v":1})"}) {
    EXPECT_THROW((void)Envelope::open(text, pairing), Envelope::Malformed) << text;
  }
  std::string more = sealed;
  more.insert(1, R"("extra":[1],)");
  EXPECT_EQ(Envelope::open(more, pairing).plaintext, "x");
}

void expectSealed(const Bytes& key, const Bytes& nonce, const Bytes& additional,
                  const Bytes& plaintext, const Bytes& sealed) {
  Bytes output(plaintext.size() + Envelope::tagSize);
  sealAES256GCM(keyFrom(key), ByteView(nonce).first<12>(), additional, plaintext, output);
  EXPECT_EQ(output, sealed);
  EXPECT_EQ(openAES256GCM(keyFrom(key), ByteView(nonce).first<12>(), additional, sealed),
            textOf(plaintext));
}

TEST(AES256GCM, MatchesNIST) {
  const struct {
    const char *key, *nonce, *additional, *plaintext, *sealed;
  } cases[] = {
      {"feffe9928665731c6d6a8f9467308308feffe9928665731c6d6a8f9467308308",
       "cafebabefacedbaddecaf888", "feedfacedeadbeeffeedfacedeadbeefabaddad2",
       "d9313225f88406e5a55909c5aff5269a86a7a9531534f7da2e4c303d8a318a721c3c0c95956809532fcf0e2449"
       "a6b525b16aedf5aa0de657ba637b39",
       "522dc1f099567d07f47f37a32a84427d643a8cdcbfe5c0c97598a2bd2555d1aa8cb08e48590dbb3da7b08b1056"
       "828838c5f61e6393ba7a0abcc9f66276fc6ece0f4e1768cddf8853bb2d551b"},
  };
  for (const auto& [key, nonce, additional, plaintext, sealed] : cases) {
    expectSealed(hex(key), hex(nonce), hex(additional), hex(plaintext), hex(sealed));
  }
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
      const Bytes nonce = field("iv");
      const Bytes sealed = hex(*vector.get<std::string>("ct") + *vector.get<std::string>("tag"));
      if (*vector.get<std::string>("result") == "valid") {
        expectSealed(field("key"), nonce, field("aad"), field("msg"), sealed);
      } else {
        EXPECT_THROW((void)openAES256GCM(keyFrom(field("key")), ByteView(nonce).first<12>(),
                                         field("aad"), sealed),
                     Envelope::CipherError);
      }
      ++count;
    }
  }
  EXPECT_EQ(count, 66);
}
#endif

}  // namespace
}  // namespace orvik
