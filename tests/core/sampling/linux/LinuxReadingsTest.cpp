// The whole of a Linux machine's readings, through the samples that they make.

#include <boost/asio/co_spawn.hpp>
#include <boost/asio/io_context.hpp>
#include <gtest/gtest.h>

#include "core/sampling/SystemSampleSource.h"
#include "core/sampling/linux/LinuxReadings.h"
#include "core/values/JSONReader.h"
#include "tests/support/FixtureTree.h"

namespace orvik {
namespace {

TEST(LinuxReadings, AMachineThatTellsNothingHasAValidSample) {
  const test::FixtureTree tree({});
  asio::io_context context;
  const auto clock = std::make_shared<SystemClock>();
  const auto source = std::make_shared<SystemSampleSource>(
      context.get_executor(), clock,
      std::make_shared<LinuxReadings>(clock, tree.root().string() + "/", "/no such folder"));
  const std::string always =
      R"({"battery_condition":null,"battery_cycles":null,"battery_design_cycles":null,)"
      R"("battery_est_min":null,"battery_max_capacity_pct":null,"battery_min":null,)"
      R"("battery_pct":null,"battery_state":"paused",)";
  const std::string rest = R"("error":"macmon indisponible",)";
  const auto expect = [&](asio::awaitable<std::string> sample, const std::string& expected) {
    const auto check = [&](const std::exception_ptr& failure, const std::string& text) {
      EXPECT_FALSE(failure);
      JSONObject fields = *JSONValue::any(readJSON(text)).get<JSONObject>();
      EXPECT_TRUE(fields.find("disk_pct")) << "of the start-up volume";
      // What comes from the machine that runs the test.
      for (const char* key : {"load", "load_now", "ts", "epoch", "epoch_ms", "disk_pct",
                              "disk_free_gb", "uptime_h", "connections", "icon_png"}) {
        fields.erase(key);
      }
      EXPECT_EQ(JSONValue(fields).text(), expected);
    };
    asio::co_spawn(context, std::move(sample), check);
    context.restart();
    context.run();
  };
  expect(source->sample(), always + rest + R"("on_ac":true,"procs":[]})");
  expect(source->alertSample(), always + R"("on_ac":true})");
}

}  // namespace
}  // namespace orvik
