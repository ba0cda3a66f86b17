#include <gtest/gtest.h>

#include <cstring>

#include "core/BuildConstants.h"
#include "core/pairing/Pairing.h"
#include "core/values/Base64.h"
#include "core/values/JSONReader.h"
#include "tests/support/Corpus.h"
#include "tests/support/Hex.h"

namespace orvik {
namespace {

using test::hex;

TEST(Base64URL, WritesAndReadsBack) {
  const struct {
    const char* bytes;
    const char* text;
  } cases[] = {{"", ""},
               {"00", "AA"},
               {"0000", "AAA"},
               {"ffffff", "____"},
               {"fbeffe", "--_-"},
               {"666f6f62", "Zm9vYg"},
               {"00000000000000000000000000000000", "AAAAAAAAAAAAAAAAAAAAAA"}};
  for (const auto& [bytes, text] : cases) {
    EXPECT_EQ(base64URL(hex(bytes)), text);
    EXPECT_EQ(bytesFromBase64URL(text), hex(bytes));
  }
  EXPECT_EQ(base64URL(Bytes(32, 0xFF)), std::string(42, '_') + "8");
  for (std::size_t size = 0; size < 50; ++size) {
    const Bytes bytes = randomBytes(size);
    EXPECT_EQ(bytesFromBase64URL(base64URL(bytes)), bytes);
  }
}

TEST(Base64URL, ReadsEitherAlphabetAndRefusesTheRest) {
  EXPECT_EQ(bytesFromBase64URL("++/+"), hex("fbeffe"));
  EXPECT_EQ(bytesFromBase64URL("AA=="), hex("00"));
  EXPECT_EQ(bytesFromBase64URL("AA="), hex("00"));
  for (const char* text : {"A", "AAAAA", "A===", "A=AA", "AAA==", "AAAA=", "AA===", "=", "AB",
                           "AAB", "AA A", "AA\nA", "AAA\n", "AA.A", "AA=A", "é", "\xFF\xFF"}) {
    EXPECT_EQ(bytesFromBase64URL(text), std::nullopt) << text;
  }
  EXPECT_EQ(bytesFromBase64URL(std::string_view("AA\0A", 4)), std::nullopt);
}

TEST(HKDF, MatchesRFC5869) {
  const struct {
    Bytes key;
    Bytes salt;
    Bytes info;
    const char* output;
  } cases[] = {
      {Bytes(22, 0x0b), hex("000102030405060708090a0b0c"), hex("f0f1f2f3f4f5f6f7f8f9"),
       "3cb25f25faacd57a90434f64d0362f2a2d2d0a90cf1a5a4c5db02d56ecc4c5bf34007208d5b887185865"},
      {hex("000102030405060708090a0b0c0d0e0f101112131415161718191a1b1c1d1e1f202122232425262728292a"
           "2b2c2d2e2f303132333435363738393a3b3c3d3e3f404142434445464748494a4b4c4d4e4f"),
       hex("606162636465666768696a6b6c6d6e6f707172737475767778797a7b7c7d7e7f808182838485868788898a"
           "8b8c8d8e8f909192939495969798999a9b9c9d9e9fa0a1a2a3a4a5a6a7a8a9aaabacadaeaf"),
       hex("b0b1b2b3b4b5b6b7b8b9babbbcbdbebfc0c1c2c3c4c5c6c7c8c9cacbcccdcecfd0d1d2d3d4d5d6d7d8d9da"
           "dbdcdddedfe0e1e2e3e4e5e6e7e8e9eaebecedeeeff0f1f2f3f4f5f6f7f8f9fafbfcfdfeff"),
       "b11e398dc80327a1c8e7f78c596a49344f012eda2d4efad8a050cc4c19afa97c59045a99cac7827271cb41c65e"
       "590e09da3275600c2f09b8367793a9aca3db71cc30c58179ec3e87c14c01d5c1f3434f1d87"},
      {Bytes(22, 0x0b),
       {},
       {},
       "8da4e775a563c18f715f802a063c5a31b8a11f5c5ee1879ec3454e5f3c738d2d9d201395faa4b61a96c8"},
  };
  for (const auto& [key, salt, info, output] : cases) {
    Bytes derived(hex(output).size());
    hkdfSHA256(key, salt, info, derived);
    EXPECT_EQ(derived, hex(output));
  }
}

Bytes bytesOfKey(const SymmetricKey& key) { return {key.data().begin(), key.data().end()}; }

TEST(Pairing, DerivesTwoStableKeys) {
  const Pairing pairing(Bytes(16, 1), Bytes(32, 2));
  Bytes expected(32);
  hkdfSHA256(Bytes(32, 2), Bytes(16, 1), bytesOf("orvik enc v1"), expected);
  EXPECT_EQ(bytesOfKey(pairing.encKey()), expected);
  hkdfSHA256(Bytes(32, 2), Bytes(16, 1), bytesOf("orvik auth v1"), expected);
  EXPECT_EQ(bytesOfKey(pairing.authKey()), expected);
  EXPECT_EQ(pairing, Pairing(Bytes(16, 1), Bytes(32, 2)));
  EXPECT_NE(pairing, Pairing(Bytes(16, 2), Bytes(32, 2)));
  EXPECT_NE(Pairing::generate(), Pairing::generate());
  EXPECT_TRUE(randomBytes(0).empty());
}

TEST(Pairing, TakesExactLengthsOnly) {
  for (const auto& [id, secret] : {std::pair{15, 32}, {17, 32}, {16, 31}, {16, 33}, {0, 0}}) {
    const Bytes idBytes(static_cast<std::size_t>(id));
    const Bytes secretBytes(static_cast<std::size_t>(secret));
    EXPECT_DEATH(Pairing(idBytes, secretBytes), "16 bytes");
  }
}

TEST(Pairing, LinkCarriesIdentifierSecretAndName) {
  const std::string head = std::string("https://") + build::pairingHost + "/orvik/p#1." +
                           std::string(22, 'A') + "." + std::string(42, '_') + "8.";
  const struct {
    const char* name;
    const char* encoded;
  } cases[] = {{"Mac mini", "Mac%20mini"},
               {"Az09-._~", "Az09-._~"},
               {"Zoë’s/Mac?", "Zo%C3%AB%E2%80%99s%2FMac%3F"},
               {"", ""},
               {"broken\xFF", ""}};
  const Pairing pairing(Bytes(16, 0), Bytes(32, 0xFF));
  for (const auto& [name, encoded] : cases) {
    EXPECT_EQ(pairing.link(name), head + encoded);
  }
}

TEST(SecretBytes, AreWipedWhenTheyDie) {
  alignas(SymmetricKey) std::array<std::uint8_t, sizeof(SymmetricKey)> memory{};
  auto* key = std::construct_at(reinterpret_cast<SymmetricKey*>(memory.data()));
  std::memset(key->data().data(), 0xAB, key->data().size());
  EXPECT_EQ(memory.front(), 0xAB);
  std::destroy_at(key);
  EXPECT_EQ(memory, decltype(memory){});
}

#ifdef ORVIK_HAS_CORPUS
TEST(CorpusHKDF, MatchesWycheproof) {
  const auto file =
      readJSON(test::contentsOf(test::corpus() / "vectors/wycheproof/hkdf_sha256_test.json"));
  int count = 0;
  for (const auto& group : *file.find("testGroups")->get<UntypedValue::List>()) {
    for (const auto& vector : *group.find("tests")->get<UntypedValue::List>()) {
      const auto field = [&vector](const char* key) {
        return hex(*vector.find(key)->get<std::string>());
      };
      const auto size = *vector.find("size")->get<std::int64_t>();
      if (*vector.find("result")->get<std::string>() == "valid") {
        Bytes derived(static_cast<std::size_t>(size));
        hkdfSHA256(field("ikm"), field("salt"), field("info"), derived);
        EXPECT_EQ(derived, field("okm")) << *vector.find("tcId")->get<std::int64_t>();
      } else {
        Bytes tooLong(static_cast<std::size_t>(size));
        EXPECT_DEATH(hkdfSHA256(field("ikm"), field("salt"), field("info"), tooLong), "8160");
      }
      ++count;
    }
  }
  EXPECT_EQ(count, file.find("numberOfTests")->get<std::int64_t>()[0]);
}
#endif

}  // namespace
}  // namespace orvik
