#include <gtest/gtest.h>

#include <algorithm>
#include <memory>

#include "core/BuildConstants.h"
#include "core/pairing/Pairing.h"
#include "core/values/Base64.h"
#include "core/values/JSONReader.h"
#include "tests/support/Corpus.h"
#include "tests/support/Hex.h"

namespace orvik {
namespace {

using test::hex;

TEST(Base64URL, ReadsBackWhatItWritesAndTheOtherAlphabetAndNothingElse) {
  for (const auto& [bytes, text] : {std::pair{"", ""},
                                    {"00", "AA"},
                                    {"0000", "AAA"},
                                    {"fbeffe", "--_-"},
                                    {"666f6f62", "Zm9vYg"}}) {
    EXPECT_EQ(base64URL(hex(bytes)), text);
  }
  for (std::size_t size = 0; size < 50; ++size) {
    const Bytes bytes = randomBytes(size);
    EXPECT_EQ(bytesFromBase64URL(base64URL(bytes)), bytes);
  }
  for (const auto& [text, bytes] : {std::pair{"++/+", "fbeffe"}, {"AA==", "00"}, {"AA=", "00"}}) {
    EXPECT_EQ(bytesFromBase64URL(text), hex(bytes));
  }
  for (const std::string_view text :
       {"A", "AAAAA", "A===", "A=AA", "AAA==", "AAAA=", "AA===", "=", "AB", "AAB", "AA A", "AAA\n",
        "AA.A", "AA=A", "é", "\xFF\xFF"}) {
    EXPECT_EQ(bytesFromBase64URL(text), std::nullopt) << text;
  }
  EXPECT_EQ(bytesFromBase64URL(std::string_view("AA\0A", 4)), std::nullopt);
}

TEST(HKDF, MatchesRFC5869) {
  const struct {
    Bytes key, salt, info;
    const char* output;
  } cases[] = {
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

TEST(Pairing, IsComparedWholeAndNeverTheSameTwice) {
  EXPECT_EQ(Pairing(Bytes(16, 1), Bytes(32, 2)), Pairing(Bytes(16, 1), Bytes(32, 2)));
  EXPECT_NE(Pairing(Bytes(16, 1), Bytes(32, 2)), Pairing(Bytes(16, 2), Bytes(32, 2)));
  EXPECT_NE(Pairing(Bytes(16, 1), Bytes(32, 2)), Pairing(Bytes(16, 1), Bytes(32, 1)));
  EXPECT_NE(Pairing::generate(), Pairing::generate());
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
  const Pairing pairing(Bytes(16, 0), Bytes(32, 0xFF));
  for (const auto& [name, encoded] : {std::pair{"Mac mini", "Mac%20mini"},
                                      {"Az09-._~", "Az09-._~"},
                                      {"Zoë’s/Mac?", "Zo%C3%AB%E2%80%99s%2FMac%3F"},
                                      {"", ""},
                                      {"broken\xFF", ""}}) {
    EXPECT_EQ(pairing.link(name).text(), head + encoded);
  }
}

/// The memory of an object that has held `content` and died.
template <typename Secret, typename Content>
std::array<std::uint8_t, sizeof(Secret)> remains(const Content& content) {
  alignas(Secret) std::array<std::uint8_t, sizeof(Secret)> memory{};
  auto* secret = std::construct_at(reinterpret_cast<Secret*>(memory.data()), content);
  EXPECT_NE(std::ranges::find(memory, 0xAB), memory.end());
  std::destroy_at(secret);
  return memory;
}

TEST(Secrets, AreWipedWhenTheyDie) {
  const Bytes bytes(48, 0xAB);
  const auto isLeft = [](const auto& memory) {
    return std::ranges::find(memory, 0xAB) != memory.end();
  };
  EXPECT_FALSE(isLeft(remains<SymmetricKey>(ByteView(bytes).first<32>())));
  // Short enough to stand in the object itself.
  EXPECT_FALSE(isLeft(remains<SecretText>(std::string(8, '\xAB'))));
  SecretText moved(std::string("secret"));
  const SecretText to = std::move(moved);
  EXPECT_EQ(to.text(), "secret");
}

#ifdef ORVIK_HAS_CORPUS
TEST(CorpusHKDF, MatchesWycheproof) {
  const auto file =
      readJSON(test::contentsOf(test::corpus() / "vectors/wycheproof/hkdf_sha256_test.json"));
  int count = 0;
  for (const auto& group : *file.get<UntypedValue::List>("testGroups")) {
    for (const auto& vector : *group.get<UntypedValue::List>("tests")) {
      const auto field = [&vector](const char* key) { return hex(*vector.get<std::string>(key)); };
      Bytes derived(static_cast<std::size_t>(*vector.get<std::int64_t>("size")));
      if (*vector.get<std::string>("result") == "valid") {
        hkdfSHA256(field("ikm"), field("salt"), field("info"), derived);
        EXPECT_EQ(derived, field("okm")) << *vector.get<std::int64_t>("tcId");
      } else {
        EXPECT_DEATH(hkdfSHA256(field("ikm"), field("salt"), field("info"), derived), "8160");
      }
      ++count;
    }
  }
  EXPECT_EQ(count, *file.get<std::int64_t>("numberOfTests"));
}
#endif

}  // namespace
}  // namespace orvik
