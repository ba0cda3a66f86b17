#include <gmock/gmock.h>

#include <fstream>

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

/// Each line of the file has a part of the complaint, and the link.
TEST(PairingLink, SaysWhatIsWrongWithoutGivingTheSecretAway) {
  std::ifstream refused(ORVIK_FIXTURES "/phone/refused-links.txt");
  int count = 0;
  const auto expectRefusal = [&count](const std::string& link, const std::string& complaint) {
    ++count;
    try {
      static_cast<void>(PairingLink::read(link));
      ADD_FAILURE() << "accepted: " << link;
    } catch (const PairingLinkError& error) {
      EXPECT_THAT(error.what(), HasSubstr(complaint)) << link;
      EXPECT_THAT(error.what(), Not(HasSubstr(secret.substr(2, 8)))) << link;
    }
  };
  for (std::string complaint, link; std::getline(refused, complaint, '\t');) {
    std::getline(refused, link);
    expectRefusal(link, complaint);
  }
  expectRefusal(" \n", "empty");
  expectRefusal(linkWith(std::string(5000, 'a')), "too long");
  EXPECT_EQ(count, 21);
}

}  // namespace
}  // namespace orvik
