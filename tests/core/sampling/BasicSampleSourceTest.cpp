#include <boost/asio/co_spawn.hpp>
#include <boost/asio/io_context.hpp>
#include <gtest/gtest.h>

#include <regex>

#include "core/sampling/BasicSampleSource.h"
#include "core/values/JSONReader.h"
#include "tests/support/ManualClock.h"

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

TEST(BasicSampleSource, EverySampleIsTheSameKind) {
  asio::io_context context;
  const auto clock = std::make_shared<test::ManualClock>(context);
  BasicSampleSource source(clock);
  std::vector<std::string> texts;
  const auto take = [&](asio::awaitable<std::string> sample) {
    asio::co_spawn(context, std::move(sample), [&](const std::exception_ptr&, std::string text) {
      texts.push_back(std::move(text));
    });
    clock->settle();
  };
  take(source.sample());
  take(source.sample(true));
  take(source.alertSample());
  ASSERT_EQ(texts.size(), 3U);
  for (const std::string& text : texts) {
    const UntypedValue value = readJSON(text);
    EXPECT_EQ(value.get<UntypedValue::Map>()->size(), 5U);
    EXPECT_GT(*value.find("uptime_h")->get<double>(), 0.0);
  }
}

}  // namespace
}  // namespace orvik
