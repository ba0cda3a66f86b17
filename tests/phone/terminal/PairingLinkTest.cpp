#include <gmock/gmock.h>

#include "phone/terminal/PairingLink.h"

namespace orvik {
namespace {

using testing::HasSubstr;
using testing::Not;

const std::string address = "https://orvik.example/orvik/p";
const std::string identifier = "AAECAwQFBgcICQoLDA0ODw";
const std::string secret = "__________________________________________8";

std::string linkWith(const std::string& name) {
  return address + "#1." + identifier + "." + secret + "." + name;
}

TEST(PairingLink, ReadsWhatTheComputerShows) {
  const Pairing pairing = Pairing::generate();
  const PairingLink link = PairingLink::read(" " + pairing.link("Zoë’s Mac.2").text() + "\r\n");
  EXPECT_EQ(link.pairing, pairing);
  EXPECT_EQ(link.name, "Zoë’s Mac.2");
}

TEST(PairingLink, MakesAnyNameFitToBeShown) {
  const std::vector<std::pair<std::string, std::string>> names = {
      {"", ""},
      {"a.b", "a.b"},
      {"%c3%A9", "é"},
      {"x%FFy%C3", "x\uFFFDy\uFFFD"},
      {"%1B%5B31mred%1B%5B0m", "red"},
      {"a%1B]0;title%07b", "ab"},
      {"a%1B]0;unended", "a0;unended"},
      {"a%C2%9B2Jb", "ab"},
      {"a%1B(Bb%1B", "ab"},
      {"line%0Abreak%09tab%00", "line break tab"},
      {"%E2%80%AEright to left", "right to left"},
  };
  for (const auto& [encoded, name] : names) {
    EXPECT_EQ(PairingLink::read(linkWith(encoded)).name, name) << encoded;
  }
}

TEST(PairingLink, SaysWhatIsWrongWithoutGivingTheSecretAway) {
  const std::string noCanonicalEnd = secret.substr(0, 42) + "9";
  const std::string standardAlphabet = "//" + secret.substr(2);
  const std::string rest = identifier + "." + secret + ".Mac";
  const std::vector<std::pair<std::string, std::string>> links = {
      {"", "empty"},
      {" \n", "empty"},
      {linkWith(std::string(5000, 'a')), "too long"},
      {rest, "begins with https://"},
      {"http://orvik.example/orvik/p#1." + rest, "begins with https://"},
      {"https:///orvik/p#1." + rest, "begins with https://"},
      {"https://orvik.example/orvik/q#1." + rest, "no pairing link"},
      {"https://orvik.example/orvik/p?a=b#1." + rest, "no pairing link"},
      {"https://user@orvik.example/orvik/p#1." + rest, "no pairing link"},
      {address, "quote the link"},
      {address + "#", "incomplete"},
      {address + "#1." + identifier + "." + secret, "incomplete"},
      {address + "#2." + rest, "version"},
      {address + "#1." + identifier.substr(1) + "." + secret + ".", "identifier"},
      {address + "#1." + identifier + "==." + secret + ".", "identifier"},
      {address + "#1.AAECAwQFBgcICQoLDA0OD!." + secret + ".", "identifier"},
      {address + "#1." + identifier + "." + secret + "A.", "secret"},
      {address + "#1." + identifier + "." + noCanonicalEnd + ".", "secret"},
      {address + "#1." + identifier + "." + standardAlphabet + ".", "secret"},
      {linkWith("Mac%2"), "name"},
      {linkWith("Mac%zz"), "name"},
  };
  for (const auto& [link, complaint] : links) {
    try {
      static_cast<void>(PairingLink::read(link));
      ADD_FAILURE() << "accepted: " << link;
    } catch (const PairingLinkError& error) {
      EXPECT_THAT(error.what(), HasSubstr(complaint)) << link;
      EXPECT_THAT(error.what(), Not(HasSubstr(secret.substr(2, 8)))) << link;
    }
  }
}

}  // namespace
}  // namespace orvik
