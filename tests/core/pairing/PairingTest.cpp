#include <gtest/gtest.h>

#include <cstring>

#include "core/BuildConstants.h"
#include "core/pairing/Pairing.h"
#include "core/values/Base64URL.h"
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

TEST(Pairing, IsNewEachTime) {
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

}  // namespace
}  // namespace orvik
