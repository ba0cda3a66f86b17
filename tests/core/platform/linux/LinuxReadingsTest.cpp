// The whole of a Linux machine's readings, through the samples that they make.

#include <boost/asio/co_spawn.hpp>
#include <boost/asio/io_context.hpp>
#include <gtest/gtest.h>

#include "core/platform/linux/LinuxReadings.h"
#include "core/sampling/SystemSampleSource.h"
#include "core/values/JSONReader.h"
#include "tests/support/FixtureTree.h"

namespace orvik {
namespace {

/// A machine's two samples, the second with its description, and an alert sample. What comes from
/// the machine that runs the test is taken out.
std::vector<std::string> samplesOf(const test::FixtureTree& tree) {
  asio::io_context context;
  const auto clock = std::make_shared<SystemClock>();
  const auto source = std::make_shared<SystemSampleSource>(
      context.get_executor(), clock,
      std::make_shared<LinuxReadings>(clock, tree.root().string() + "/", "/"));
  std::vector<std::string> samples;
  const auto take = [&](asio::awaitable<std::string> sample) {
    asio::co_spawn(context, std::move(sample),
                   [&](const std::exception_ptr& failure, const std::string& text) {
                     EXPECT_FALSE(failure);
                     JSONObject fields = *JSONValue::any(readJSON(text)).get<JSONObject>();
                     for (const char* key : {"load", "load_now", "ts", "epoch", "epoch_ms",
                                             "disk_pct", "disk_free_gb", "uptime_h"}) {
                       fields.erase(key);
                     }
                     if (const JSONValue* connections = fields.find("connections")) {
                       JSONObject kept = *connections->get<JSONObject>();
                       kept.erase("bluetooth");
                       kept.erase("bluetooth_on");
                       fields.set("connections", kept);
                     }
                     if (const JSONValue* info = fields.find("mac_info")) {
                       JSONObject kept = *info->get<JSONObject>();
                       kept.erase("icon_png");
                       fields.set("mac_info", kept);
                     }
                     samples.push_back(JSONValue(fields).text());
                   });
    context.restart();
    context.run();
  };
  take(source->sample());
  take(source->sample(true));
  take(source->alertSample());
  return samples;
}

TEST(LinuxReadings, AMachineThatTellsNothingHasAValidSample) {
  const std::string always =
      R"("battery_condition":null,"battery_cycles":null,"battery_design_cycles":null,)"
      R"("battery_est_min":null,"battery_max_capacity_pct":null,"battery_min":null,)"
      R"("battery_pct":null,"battery_state":"paused",)";
  const std::string rest = R"("connections":{"displays":[],"network":null,"usb":[],"volumes":[]},)"
                           R"("error":"macmon indisponible",)";
  const auto samples = samplesOf(test::FixtureTree({}));
  ASSERT_EQ(samples.size(), 3U);
  EXPECT_EQ(samples[0], "{" + always + rest + R"("on_ac":true,"procs":[]})");
  EXPECT_EQ(samples[1], "{" + always + rest + R"("mac_info":{},"on_ac":true,"procs":[]})");
  EXPECT_EQ(samples[2], "{" + always + R"("on_ac":true})");
}

}  // namespace
}  // namespace orvik
