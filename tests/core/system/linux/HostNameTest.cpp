#include <gtest/gtest.h>

#include "core/system/HostName.h"
#include "core/system/linux/HostName.h"

namespace orvik {
namespace {

using namespace std::string_literals;

TEST(HostName, IsThePrettyNameOfTheMachineInfo) {
  const auto none = std::nullopt;
  const std::pair<std::string, std::optional<std::string>> cases[] = {
      {"", none},
      {"PRETTY_HOSTNAME=\n", none},
      {"PRETTY_HOSTNAME=\"  \"\n", none},
      {"# PRETTY_HOSTNAME=no\nXPRETTY_HOSTNAME=no\nCHASSIS=laptop", none},
      {"CHASSIS=laptop\nPRETTY_HOSTNAME=desk\nICON_NAME=x\n", "desk"},
      {" PRETTY_HOSTNAME=\"Zoë’s \\\"big\\\" \\$ Mac\"\r\n", "Zoë’s \"big\" $ Mac"},
      {"PRETTY_HOSTNAME='a \\ \"b\"'", "a \\ \"b\""},
      {"PRETTY_HOSTNAME=\"open", "open"},
      {"PRETTY_HOSTNAME=end\\", "end\\"},
      {"PRETTY_HOSTNAME=first\nPRETTY_HOSTNAME=second", "second"},
      {"PRETTY_HOSTNAME=\xff", none},
      {"PRETTY_HOSTNAME=a\x1b[2Jb", none},
      {"PRETTY_HOSTNAME=a\0b"s, none},
      {"PRETTY_HOSTNAME=" + std::string(200, 'a'), std::string(200, 'a')},
      // Of the last ö only the first byte would fit.
      {"PRETTY_HOSTNAME=" + std::string(199, 'a') + "öb", std::string(199, 'a')},
      {"PRETTY_HOSTNAME=" + std::string(198, 'a') + "öb", std::string(198, 'a') + "ö"},
  };
  for (const auto& [text, name] : cases) {
    EXPECT_EQ(prettyHostName(text), name) << text;
  }
  const auto ours = localizedHostName();
  EXPECT_TRUE(!ours || presentableName(*ours) == ours);
}

}  // namespace
}  // namespace orvik
