#include <gtest/gtest.h>

#include "core/pairing/Envelope.h"
#include "core/values/Base64URL.h"
#include "core/values/JSONReader.h"

namespace orvik {
namespace {

using Kind = Envelope::Kind;

const Pairing pairing(Bytes(16, 7), Bytes(32, 9));

std::string envelope(const std::string& c, const std::string& n, const std::string& t = R"("s")",
                     const std::string& v = "1") {
  return R"({"c":")" + c + R"(","n":")" + n + R"(","t":)" + t + R"(,"v":)" + v + "}";
}

TEST(Envelope, OpensWhatItSealed) {
  for (const Kind kind : {Kind::sample, Kind::alert, Kind::control}) {
    for (const std::size_t size : {0UL, 1UL, 15UL, 16UL, 17UL, 4096UL, 100'000UL}) {
      const std::string plaintext(size, 'x');
      const auto opened = Envelope::open(Envelope::seal(plaintext, kind, pairing), pairing);
      EXPECT_EQ(opened.plaintext, plaintext);
      EXPECT_EQ(opened.kind, kind);
    }
  }
}

TEST(Envelope, HasOneCompactForm) {
  const std::string text = Envelope::seal("", Kind::sample, pairing);
  EXPECT_EQ(text.size(), envelope(std::string(22, 'x'), std::string(16, 'x')).size());
  const UntypedValue value = readJSON(text);
  EXPECT_EQ(text,
            envelope(*value.find("c")->get<std::string>(), *value.find("n")->get<std::string>()));
  const UntypedValue again = readJSON(Envelope::seal("", Kind::sample, pairing));
  EXPECT_NE(value.find("n")->get<std::string>()[0], again.find("n")->get<std::string>()[0]);
  EXPECT_NE(value.find("c")->get<std::string>()[0], again.find("c")->get<std::string>()[0]);
}

TEST(Envelope, EveryChangedBitIsNoticed) {
  const std::string sealed = Envelope::seal(R"({"cpu_pct":12.5})", Kind::alert, pairing);
  const std::string plaintext = Envelope::open(sealed, pairing).plaintext;
  for (std::size_t bit = 0; bit < sealed.size() * 8; ++bit) {
    std::string changed = sealed;
    changed[bit / 8] = static_cast<char>(changed[bit / 8] ^ (1 << bit % 8));
    try {
      // Only a change that means the same, as of "-" to "+", may still open, to the same.
      EXPECT_EQ(Envelope::open(changed, pairing).plaintext, plaintext) << bit;
      const auto ciphertext = [](const std::string& text) {
        return bytesFromBase64URL(*readJSON(text).find("c")->get<std::string>());
      };
      EXPECT_EQ(ciphertext(changed), ciphertext(sealed));
    } catch (const std::runtime_error&) {
    }
  }
  for (std::size_t size = 0; size < sealed.size(); ++size) {
    EXPECT_THROW((void)Envelope::open(sealed.substr(0, size), pairing), JSONError);
  }
}

TEST(Envelope, FailuresAreToldApart) {
  std::string swapped = Envelope::seal("x", Kind::sample, pairing);
  swapped.replace(swapped.find(R"("t":"s")"), 7, R"("t":"a")");
  EXPECT_THROW((void)Envelope::open(swapped, pairing), Envelope::CipherError);
  const std::string sealed = Envelope::seal("x", Kind::sample, pairing);
  const Pairing otherMac(Bytes(16, 8), Bytes(32, 9));
  const Pairing otherSecret(Bytes(16, 7), Bytes(32, 8));
  EXPECT_THROW((void)Envelope::open(sealed, otherMac), Envelope::CipherError);
  EXPECT_THROW((void)Envelope::open(sealed, otherSecret), Envelope::CipherError);
  EXPECT_THROW((void)Envelope::open("not json", pairing), JSONError);

  const std::string c = base64URL(Bytes(16));
  const std::string n = base64URL(Bytes(12));
  const std::string malformed[] = {
      "[]",
      "1",
      "{}",
      envelope(c, n, R"("s")", "2"),
      envelope(c, n, R"("s")", "1.0"),
      envelope(c, n, R"("s")", "true"),
      envelope(c, n, R"("s")", R"("1")"),
      envelope(c, n, R"("x")"),
      envelope(c, n, R"("ss")"),
      envelope(c, n, "1"),
      envelope(base64URL(Bytes(15)), n),
      envelope(c, base64URL(Bytes(11))),
      envelope(c, base64URL(Bytes(13))),
      envelope(c, "A"),
      envelope("!", n),
      R"({"c":")" + c + R"(","t":"s","v":1})",
      R"({"c":1,"n":")" + n + R"(","t":"s","v":1})",
  };
  for (const std::string& text : malformed) {
    EXPECT_THROW((void)Envelope::open(text, pairing), Envelope::Malformed) << text;
  }
  std::string more = sealed;
  more.insert(1, R"("extra":[1],)");
  EXPECT_EQ(Envelope::open(more, pairing).plaintext, "x");
}

}  // namespace
}  // namespace orvik
