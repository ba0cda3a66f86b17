#include <gtest/gtest.h>

#include "phone/terminal/LiveScreen.h"

namespace orvik {
namespace {

const ViewLine title{"Mac", " · offline", true};

TEST(LiveScreen, RepaintsItsBlockInPlace) {
  LiveScreen screen(true);
  EXPECT_EQ(screen.paint({title, {"CPU  ", "7 %"}, {"Disk ", "80 %"}}, {24, 80}),
            "\x1B[?25l"
            "\x1B[1mMac\x1B[0m\x1B[33m · offline\x1B[0m\x1B[K\r\n"
            "\x1B[1mCPU  \x1B[0m7 %\x1B[K\r\n"
            "\x1B[1mDisk \x1B[0m80 %\x1B[K\x1B[J");
  // Shorter than before: what the last line left is cleared.
  EXPECT_EQ(screen.paint({{"Mac", " · live"}, {"CPU  ", "12 %"}}, {24, 80}),
            "\r\x1B[2A"
            "\x1B[1mMac\x1B[0m · live\x1B[K\r\n"
            "\x1B[1mCPU  \x1B[0m12 %\x1B[K\x1B[J");
  EXPECT_EQ(screen.end(), "\r\n\x1B[?25h");
  EXPECT_EQ(screen.end(), "") << "nothing is left to restore";
  EXPECT_EQ(screen.paint({{"", "again"}}, {24, 80}), "\x1B[?25lagain\x1B[K\x1B[J")
      << "a new block begins where the cursor is";
}

TEST(LiveScreen, KeepsWithinTheWindow) {
  LiveScreen screen(false);
  const std::vector<ViewLine> lines = {{"Name ", "日本語"}, {"", "2"}, {"", "3"}, {"", "4"}};
  EXPECT_EQ(screen.paint(lines, {4, 80}),
            "\x1B[?25lName 日本語\x1B[K\r\n2\x1B[K\r\n3\x1B[K\r\n4\x1B[K\x1B[J");
  EXPECT_EQ(screen.paint(lines, {2, 80}),
            "\r\x1B[3AName 日本語\x1B[K\r\n… 3 more lines: enlarge the window\x1B[K\x1B[J");
  // Half as wide: the two lines of 11 and 34 columns stand on 2 and 5 rows now. Of the name only
  // one wide character fits before the ellipsis.
  EXPECT_EQ(screen.paint(lines, {2, 8}), "\r\x1B[6AName …\x1B[K\r\n… 3 mo…\x1B[K\x1B[J");
  EXPECT_EQ(screen.paint(lines, {1, 1}), "\r\x1B[12A\x1B[K\x1B[J");
}

}  // namespace
}  // namespace orvik
