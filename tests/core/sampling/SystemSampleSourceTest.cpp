// The recorded outputs of a whole Mac, and the samples that they make.

#include <boost/asio/bind_cancellation_slot.hpp>
#include <boost/asio/cancellation_signal.hpp>
#include <boost/asio/co_spawn.hpp>
#include <gmock/gmock.h>

#include <regex>
#include <set>

#include "core/sampling/BasicSampleSource.h"
#include "core/sampling/SystemSampleSource.h"
#include "core/sampling/mac/MacReadings.h"
#include "core/values/JSONReader.h"
#include "tests/support/Corpus.h"
#include "tests/support/ManualClock.h"
#include "tests/support/RecordedMac.h"

namespace orvik {
namespace {

using namespace std::chrono_literals;
using test::RecordedCommands;
using testing::HasSubstr;
using testing::Not;

constexpr const char* pmset = "5 s: /usr/bin/pmset -g batt";
constexpr const char* destination = "5 s: /usr/bin/tmutil destinationinfo";
constexpr const char* profiler =
    "25 s: /usr/sbin/system_profiler SPBluetoothDataType SPStorageDataType SPDisplaysDataType "
    "-json";
constexpr const char* registry = "8 s: /usr/sbin/ioreg -a -r -c IOUSBHostDevice -l -w0";
constexpr const char* preferences =
    "5 s: /usr/bin/defaults export /Library/Preferences/com.apple.TimeMachine -";

class RecordedMac : public testing::Test {
 protected:
  RecordedMac() { makeSource(); }
  ~RecordedMac() override {
    source.reset();
    macmon.reset();
    clock->advance(120s);
  }
  void makeSource() {
    macmon = std::make_shared<MacmonReader>(
        std::vector{tool},
        MacmonReader::Dependencies{
            context.get_executor(), clock, commands,
            [this](const auto& /*executor*/, const auto& /*path*/, const auto& /*arguments*/) {
              return std::make_unique<test::PrintingTool>(commands->outputs["stream"], clock);
            }});
    source = std::make_shared<SystemSampleSource>(
        context.get_executor(), clock, std::make_shared<MacReadings>(commands, macmon, system));
  }
  /// The sample, which comes within so long.
  std::string taken(asio::awaitable<std::string> sample, Clock::Duration limit = 3100ms) {
    std::string text;
    asio::co_spawn(context, std::move(sample),
                   [&](const std::exception_ptr& failure, std::string result) {
                     EXPECT_FALSE(failure);
                     text = std::move(result);
                   });
    clock->settle();
    for (const Instant end = clock->now() + limit; text.empty() && clock->now() < end;) {
      clock->advance(100ms);
    }
    return text;
  }
  std::string sample() { return taken(source->sample()); }
  /// A sample's members but the ones that are this machine's and this moment's own.
  static std::string fieldsOf(const std::string& text) {
    JSONObject fields = *JSONValue::any(readJSON(text)).get<JSONObject>();
    for (const char* own : {"load", "load_now", "ts"}) {
      EXPECT_NE(fields.find(own), nullptr);
      fields.erase(own);
    }
    return JSONValue(std::move(fields)).text();
  }

  asio::io_context context;
  std::shared_ptr<test::ManualClock> clock = std::make_shared<test::ManualClock>(context);
  std::shared_ptr<RecordedCommands> commands =
      std::make_shared<RecordedCommands>("laptop.txt", context.get_executor());
  std::shared_ptr<test::RecordedSystem> system = std::make_shared<test::RecordedSystem>();
  std::filesystem::path tool = "/bin/sh";
  std::shared_ptr<MacmonReader> macmon;
  std::shared_ptr<SystemSampleSource> source;
  std::vector<std::string> expected = test::linesOf("mac/samples.txt");
};

TEST_F(RecordedMac, EveryKeyOfTheSample) {
  EXPECT_EQ(fieldsOf(sample()), expected[0]);
  EXPECT_EQ(taken(source->alertSample()), expected[1]);
  // The description of the machine is read once, and comes whenever it is asked for.
  commands->taken.clear();
  for (int i = 0; i < 2; ++i) {
    const UntypedValue full = readJSON(taken(source->sample(true)));
    EXPECT_EQ(JSONValue::any(*full.find("mac_info")).text(), expected[2]);
  }
  EXPECT_EQ(commands->taken.count("10 s: /bin/sh pipe -s 1 -i 200 --soc-info"), 1U);
}

TEST_F(RecordedMac, EveryGroupAtItsOwnPace) {
  const std::pair<const char*, std::set<int>> groups[] = {
      {pmset, {0, 5, 10, 19, 30, 599, 600, 610, 629}},
      {profiler, {0, 10, 30, 599, 610, 629}},
      {preferences, {0, 30, 599, 629}},
      {"20 s: /usr/sbin/system_profiler SPPowerDataType", {0, 629}}};
  Instant start = clock->now();
  for (const int second : groups[0].second) {
    clock->advance(start + std::chrono::seconds(second) - clock->now());
    commands->taken.clear();
    sample();
    for (const auto& [command, seconds] : groups) {
      EXPECT_EQ(commands->taken.count(command), seconds.count(second)) << command << second;
    }
    start = second == 0 ? clock->now() : start;
  }
}

TEST_F(RecordedMac, WithoutAnythingToRead) {
  commands->isMute = true;
  tool = "/nowhere";
  system->volume = std::nullopt;
  makeSource();
  EXPECT_EQ(fieldsOf(sample()), expected[3]);
  EXPECT_EQ(commands->taken.count("5 s: /usr/bin/tmutil status"), 0U)
      << "no history, nothing more to ask";
  EXPECT_EQ(commands->taken.count("4 s: /usr/bin/dig +short -x 192.0.2.1 +time=1 +tries=1"), 0U);
}

TEST_F(RecordedMac, ABatteryThatCannotBeAskedIsAsItWas) {
  const std::string output = std::exchange(commands->outputs[pmset], "");
  EXPECT_THAT(sample(), Not(HasSubstr("on_ac"))) << "nor is there anything made up";
  commands->outputs[pmset] = output;
  EXPECT_THAT(sample(), HasSubstr(R"("on_ac":true)"));
  commands->outputs[pmset] = "\n";
  for (int i = 0; i < 3; ++i) {
    EXPECT_THAT(sample(), HasSubstr(R"("battery_pct":87,"battery_state":"charging")"));
    EXPECT_THAT(taken(source->alertSample()), HasSubstr(R"("on_ac":true)"));
    clock->advance(100s);
  }
  clock->advance(10min);
  EXPECT_THAT(sample(), Not(HasSubstr("on_ac")));
}

TEST_F(RecordedMac, TheBatterysOwnEstimateStandsInForAMissingOne) {
  commands->outputs[pmset] =
      "Now drawing from 'Battery Power'\n -InternalBattery-0 (id=1)\t50%; discharging; (no "
      "estimate) present: true\n";
  system->volume->forImportantUsage = 0;
  const UntypedValue fields = readJSON(sample());
  EXPECT_EQ(*fields.find("battery_min"), UntypedValue(std::int64_t{65}));
  EXPECT_EQ(*fields.find("disk_free_gb"), UntypedValue(std::int64_t{90}));
  EXPECT_EQ(commands->taken.count("5 s: /usr/sbin/ioreg -rn AppleSmartBattery"), 2U);
}

TEST_F(RecordedMac, NoGroupHoldsUpTheOthers) {
  const struct {
    const char* tool;
    const char* key;
    Clock::Duration life;
  } groups[] = {{"/usr/bin/pmset", "battery_pct", 10min},
                {"/bin/ps", "Compiler", 10s},
                {"/usr/bin/tmutil", "tm_running", 10min},
                {"/usr/sbin/system_profiler", "volumes", 60s},
                {"/usr/sbin/system_profiler", "battery_condition", 60min}};
  for (const auto& [held, key, life] : groups) {
    makeSource();
    commands->held = held;
    EXPECT_THAT(taken(source->sample(), 10s), Not(HasSubstr(key)));
    commands->letGo();
    clock->settle();
    EXPECT_THAT(sample(), HasSubstr(key));
    // Its last answer stands in, and is not waited long for.
    commands->held = held;
    clock->advance(life / 2);
    EXPECT_THAT(taken(source->sample(), 2s), HasSubstr(key));
    EXPECT_THAT(taken(source->sample(), 0s), HasSubstr("epoch")) << "it is not waited for again";
    clock->advance(life);
    EXPECT_THAT(taken(source->sample(), 2s), Not(HasSubstr(key)));
    // What is still read ends with the source.
    EXPECT_GT(commands->waiting, 0) << held;
    source.reset();
    clock->settle();
    EXPECT_EQ(commands->waiting, 0);
    commands->letGo();
  }
}

TEST_F(RecordedMac, ASampleAndAnAlertSampleShareWhatTheyRead) {
  std::string alerts;
  asio::co_spawn(context, source->alertSample(),
                 [&](const std::exception_ptr&, std::string text) { alerts = std::move(text); });
  EXPECT_THAT(sample(), HasSubstr("tm_last_backup"));
  EXPECT_THAT(alerts, HasSubstr("tm_last_backup"));
  EXPECT_EQ(commands->taken.count(preferences), 1U);
}

TEST_F(RecordedMac, WhateverIsPluggedInTheRelayTakesTheSample) {
  std::string devices;
  for (int i = 0; i < 300; ++i) {
    devices +=
        "<dict><key>IOObjectClass</key><string>IOUSBHostDevice</string><key>locationID</key>"
        "<integer>" +
        std::to_string(i) + "</integer><key>IORegistryEntryName</key><string>" +
        std::string(5000, 'n') + "</string></dict>";
  }
  std::string marks = "e";
  for (int i = 0; i < 100'000; ++i) {
    marks += "\u0301";
  }
  commands->outputs[registry] = "<plist><array>" + devices + "</array></plist>";
  commands->outputs["5 s: /bin/ps -Aceo pcpu,comm -r"] = "9.0 " + marks + "\n";
  commands->outputs["20 s: /usr/sbin/system_profiler SPPowerDataType"] =
      "Condition: " + marks + "\n";
  // The whole name of the disk for backups is compared, whatever of it is sent.
  const std::string name(200, 'b');
  commands->outputs[destination] = "Name : " + name + "\n";
  commands->outputs[profiler] =
      R"({"SPStorageDataType":[{"size_in_bytes":9,"free_space_in_bytes":9,"_name":")" + name +
      R"(","mount_point":"/Volumes/b"}]})";
  const std::string text = taken(source->sample(true));
  EXPECT_LT(text.size(), 30'000U);
  EXPECT_THAT(text, HasSubstr(R"("is_time_machine":true,"name":")" + name.substr(0, 128) + "\""));
  EXPECT_EQ(readJSON(text).find("connections")->find("usb")->get<UntypedValue::List>()->size(),
            64U);
}

TEST_F(RecordedMac, ASampleThatIsCancelledLeavesTheNextOneWhole) {
  const std::pair<const char*, const char*> groups[] = {{"/usr/bin/pmset", "battery_pct"},
                                                        {"/usr/bin/tmutil", "tm_running"},
                                                        {"/sbin/route", "192.0.2.1"}};
  enum class When { before, during, justAfter };
  for (const auto& [held, key] : groups) {
    for (const When when : {When::before, When::during, When::justAfter}) {
      makeSource();
      commands->held = held;
      asio::cancellation_signal cancellation;
      bool isOver = false;
      const auto end = [&](const std::exception_ptr& failure, const std::string& text) {
        EXPECT_EQ(text.empty(), failure != nullptr);
        EXPECT_TRUE(failure || when == When::justAfter) << held;
        isOver = true;
      };
      asio::co_spawn(context, source->sample(),
                     asio::bind_cancellation_slot(cancellation.slot(), end));
      if (when != When::before) {
        clock->advance(1s);
      }
      if (when == When::justAfter) {
        commands->letGo();
      }
      cancellation.emit(asio::cancellation_type::terminal);
      clock->settle();
      ASSERT_TRUE(isOver) << held;
      commands->letGo();
      EXPECT_THAT(sample(), HasSubstr(key)) << held;
    }
  }
}

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
