#include <gtest/gtest.h>

#include <vector>

#include "OrvikApp/Launcher.h"

namespace orvik {
namespace {

using Picture = Launcher::PairingPicture;

TEST(Launcher, TakesTheFirstSwitchAndWhatFollowsIt) {
  const char* const option = "--render-pairing";
  const std::pair<std::vector<const char*>, std::optional<Picture>> cases[] = {
      {{}, {}},
      {{"orvik", "out.png", "de"}, {}},
      {{"orvik", "--other", option}, {}},
      {{"orvik", "--render-pairing=out.png", "de"}, {}},
      {{option, "out.png"}, Picture{"out.png", "en"}},
      {{"orvik", option, "out.png", "de", "fr", "--other"}, Picture{"out.png", "de"}},
      {{"orvik", "--other", "x", option, option}, Picture{option, "en"}},
      {{"orvik", option, "a.png", option, "b.png"}, Picture{"a.png", option}},
      {{"orvik", option, "", ""}, Picture{"", ""}},
  };
  for (const auto& [arguments, expected] : cases) {
    EXPECT_EQ(Launcher::parse(static_cast<int>(arguments.size()), arguments.data()), expected)
        << testing::PrintToString(arguments);
  }
}

}  // namespace
}  // namespace orvik
