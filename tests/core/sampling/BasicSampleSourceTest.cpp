#include <gtest/gtest.h>

#include <regex>

#include "core/sampling/BasicSampleSource.h"

namespace orvik {
namespace {

TEST(BasicSampleSource, WritesFiveSortedKeys) {
  const struct {
    double uptime;
    const char* hours;
  } cases[] = {{5400, "1.5"}, {5399, "1.5"}, {5219, "1.4"}, {0, "0.0"}};
  for (const auto& [uptime, hours] : cases) {
    const Clock::UnixTime now(std::chrono::milliseconds(1'800'000'000'999));
    const std::string text = BasicSampleSource::text(now, {{0.125, 1.0, 2.344}, uptime});
    const std::regex shape(R"(\{"epoch":1800000000,"epoch_ms":1800000000999,"load":\[0\.13,1\.0,)"
                           R"(2\.34\],"ts":"\d\d:\d\d:\d\d","uptime_h":)" +
                           std::string(hours) + R"(\})");
    EXPECT_TRUE(std::regex_match(text, shape)) << text;
  }
}

TEST(BasicSampleSource, KnowsHowLongTheMachineHasBeenUp) { EXPECT_GT(readMachineLoad().uptime, 0); }

}  // namespace
}  // namespace orvik
