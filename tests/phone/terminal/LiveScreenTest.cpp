#include <gtest/gtest.h>

#include "phone/terminal/LiveScreen.h"

namespace orvik {
namespace {

const ViewLine title{"Mac", " · offline", true};

TEST(LiveScreen, RepaintsOnAScreenOfItsOwn) {
  LiveScreen screen(true);
  EXPECT_EQ(screen.paint({title, {"CPU  ", "7 %"}, {"Disk ", "80 %", false, true}}, {24, 80}),
            "\x1B[?1049h\x1B[?25l\x1B[H"
            "\x1B[1mMac\x1B[0m\x1B[33m · offline\x1B[0m\x1B[K\r\n"
            "\x1B[1mCPU  \x1B[0m7 %\x1B[K\r\n"
            "\x1B[2mDisk 80 %\x1B[0m\x1B[K\x1B[J");
  // Shorter than before: what the last line left is cleared.
  EXPECT_EQ(screen.paint({{"Mac", " · live"}}, {24, 80}),
            "\x1B[H\x1B[1mMac\x1B[0m · live\x1B[K\x1B[J");
  EXPECT_EQ(screen.end(), "\x1B[?25h\x1B[?1049l");
  EXPECT_EQ(screen.end(), "") << "nothing is left to restore";
  EXPECT_EQ(screen.paint({{"", "again"}}, {24, 80}), "\x1B[?1049h\x1B[?25l\x1B[Hagain\x1B[K\x1B[J");
}

TEST(LiveScreen, KeepsWithinTheWindow) {
  LiveScreen screen(false);
  const std::vector<ViewLine> lines = {{"Name ", "日本語"}, {"", "2"}, {"", "3"}, {"", "4"}};
  const std::pair<ScreenSize, const char*> cases[] = {
      {{4, 80}, "Name 日本語\x1B[K\r\n2\x1B[K\r\n3\x1B[K\r\n4\x1B[K\x1B[J"},
      {{2, 80}, "Name 日本語\x1B[K\r\n… 3 more lines: enlarge the window\x1B[K\x1B[J"},
      // Of the name only one wide character fits before the ellipsis.
      {{2, 8}, "Name …\x1B[K\r\n… 3 mo…\x1B[K\x1B[J"},
      {{1, 1}, "\x1B[K\x1B[J"}};
  static_cast<void>(screen.paint({}, {1, 1}));
  for (const auto& [size, shown] : cases) {
    EXPECT_EQ(screen.paint(lines, size), std::string("\x1B[H") + shown);
  }
}

}  // namespace
}  // namespace orvik
