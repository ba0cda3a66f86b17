#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <sstream>

#include "core/BuildConstants.h"
#include "core/pairing/Envelope.h"
#include "core/values/Base64.h"
#include "core/values/Text.h"
#include "tests/support/Hex.h"
#include "tests/support/Table.h"

namespace orvik {
namespace {

using test::hex;

std::string hexOf(ByteView bytes) {
  std::string text;
  for (const std::uint8_t byte : bytes) {
    appendHex(byte, text);
  }
  return text;
}

/// The bytes of hexadecimal texts with commas between.
std::vector<Bytes> fields(std::string_view text) {
  std::istringstream all{std::string(text)};
  std::vector<Bytes> bytes;
  for (std::string field; std::getline(all, field, ',');) {
    bytes.push_back(hex(field));
  }
  return bytes;
}

const Pairing plain(Bytes(16, 0), Bytes(32, 0xFF));

const test::Parsers parsers{
    {"base64",
     [](auto text) {
       const auto bytes = bytesFromBase64URL(text);
       return bytes ? JSONValue(base64URL(*bytes)) : JSONValue();
     }},
    {"HKDF",
     [](auto text) {
       const auto field = fields(text);
       Bytes output(field[3][0]);
       hkdfSHA256(field[0], field[1], field[2], output);
       return hexOf(output);
     }},
    {"AES-256-GCM",
     [](auto text) {
       const auto field = fields(text);
       const ByteView keyBytes = field[0];
       const SymmetricKey key(keyBytes.first<32>());
       const auto nonce = ByteView(field[1]).first<Envelope::nonceSize>();
       Bytes sealed(field[3].size() + Envelope::tagSize);
       sealAES256GCM(key, nonce, field[2], field[3], sealed);
       EXPECT_EQ(openAES256GCM(key, nonce, field[2], sealed), textOf(field[3]));
       return hexOf(sealed);
     }},
    {"link",
     [](auto name) {
       const std::string head = std::string("https://") + build::pairingHost + "/orvik/p#1." +
                                std::string(22, 'A') + "." + std::string(42, '_') + "8.";
       const SecretText link = plain.link(name);
       EXPECT_TRUE(link.text().starts_with(head));
       return std::string(link.text().substr(head.size()));
     }},
    {"envelope", [](auto text) {
       try {
         return Envelope::open(text, plain).plaintext;
       } catch (const Envelope::Malformed&) {
         return std::string("malformed");
       } catch (const Envelope::CipherError&) {
         return std::string("forged");
       }
     }}};

TEST(Pairing, ReadsAndWritesWhatTheTableSays) {
  test::expectTable("pairing/texts.txt", parsers);
  EXPECT_TRUE(plain.link("broken\xFF").text().ends_with("."));
  EXPECT_EQ(bytesFromBase64URL("\xFF\xFF"), std::nullopt);
  EXPECT_EQ(bytesFromBase64URL("--_-"), hex("fbeffe"));
  for (std::size_t size = 0; size < 50; ++size) {
    const Bytes bytes = randomBytes(size);
    EXPECT_EQ(bytesFromBase64URL(base64URL(bytes)), bytes);
  }
}

TEST(Pairing, IsComparedWholeAndTakesExactLengthsOnly) {
  const auto made = [](std::size_t idSize, std::size_t secretSize, std::uint8_t id = 1,
                       std::uint8_t secret = 2) {
    return Pairing(Bytes(idSize, id), Bytes(secretSize, secret));
  };
  EXPECT_EQ(made(16, 32), made(16, 32));
  EXPECT_NE(made(16, 32), made(16, 32, 2, 2));
  EXPECT_NE(made(16, 32), made(16, 32, 1, 1));
  EXPECT_NE(Pairing::generate(), Pairing::generate());
  for (const auto& [id, secret] : {std::pair{15U, 32U}, {17U, 32U}, {16U, 31U}, {16U, 33U}}) {
    EXPECT_DEATH(made(id, secret), "16 bytes");
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
    // Several: one may stand in the address of the object itself.
    return !std::ranges::search_n(memory, 4, 0xAB).empty();
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
