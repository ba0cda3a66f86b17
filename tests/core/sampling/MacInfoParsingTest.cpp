#include <gtest/gtest.h>

#include "core/sampling/MacInfoParsing.h"

namespace orvik::MacInfoParsing {
namespace {

TEST(MacInfoParsing, CoresByTheNamesOfTheLevels) {
  const struct {
    std::vector<PerformanceLevel> levels;
    Cores expected;
  } cases[] = {
      {{}, {0, 0}},
      {{{"Performance", 8}, {"Efficiency", 4}}, {8, 4}},
      {{{"", 8}, {"", 2}, {"", 1}}, {8, 2}},
      {{{"EFFICIENCY", 4}, {"other", 3}, {"Mid Performance", 2}}, {2, 4}},
  };
  for (const auto& [levels, expected] : cases) {
    EXPECT_EQ(cores(levels), expected) << levels.size();
  }
}

TEST(MacInfoParsing, Texts) {
  using namespace std::string_literals;
  EXPECT_EQ(deviceTreeString(" MacBook é\xFF\n\0rest"s), "MacBook é�");
  EXPECT_EQ(deviceTreeString(" \0x"s), std::nullopt);
  EXPECT_EQ(version(14, 2, 1), "14.2.1");
  EXPECT_EQ(version(14, 0, 0), "14.0");
}

}  // namespace
}  // namespace orvik::MacInfoParsing
