#include <gtest/gtest.h>

#include <vector>

#include "OrvikApp/Launcher.h"

namespace orvik {
namespace {

using Picture = Launcher::PairingPicture;

TEST(Launcher, TakesTheFirstSwitchAndWhatFollowsIt) {
  struct Case {
    std::vector<const char*> arguments;
    std::optional<Picture> expected;
  };
  const char* const option = "--render-pairing";
  const std::vector<Case> cases{
      {{}, {}},
      {{"orvik"}, {}},
      {{"orvik", "out.png", "de"}, {}},
      {{"orvik", option}, {}},
      {{"orvik", "--other", option}, {}},
      {{"orvik", "--render-pairing=out.png", "de"}, {}},
      {{"orvik", "--Render-Pairing", "out.png"}, {}},
      {{"orvik", option, "out.png"}, Picture{"out.png", "en"}},
      {{"orvik", option, "out.png", "de"}, Picture{"out.png", "de"}},
      {{"orvik", option, "out.png", "de", "fr", "--other"}, Picture{"out.png", "de"}},
      {{"orvik", "--other", "x", option, "out.png"}, Picture{"out.png", "en"}},
      {{"orvik", option, option}, Picture{option, "en"}},
      {{"orvik", option, "a.png", option, "b.png"}, Picture{"a.png", option}},
      {{option, "out.png"}, Picture{"out.png", "en"}},
      {{"orvik", option, "", ""}, Picture{"", ""}},
      {{"orvik", option, "-platform", "xcb"}, Picture{"-platform", "xcb"}},
  };
  for (const Case& it : cases) {
    EXPECT_EQ(Launcher::parse(static_cast<int>(it.arguments.size()), it.arguments.data()),
              it.expected)
        << testing::PrintToString(it.arguments);
  }
}

}  // namespace
}  // namespace orvik
