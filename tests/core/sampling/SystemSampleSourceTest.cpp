// A whole Mac on paper: one machine's outputs, and the samples that they make.

#include <boost/asio/bind_cancellation_slot.hpp>
#include <boost/asio/cancellation_signal.hpp>
#include <boost/asio/co_spawn.hpp>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <set>

#include "core/sampling/SystemSampleSource.h"
#include "core/sampling/Volume.h"
#include "core/sampling/mac/MacReadings.h"
#include "core/values/JSONReader.h"
#include "tests/support/ManualClock.h"
#include "tests/support/RecordedMac.h"

namespace orvik {
namespace {

using namespace std::chrono_literals;

using test::PrintingTool;
using test::RecordedSystem;
using test::Replay;

class RecordedMac : public testing::Test {
 protected:
  ~RecordedMac() override {
    source.reset();
    macmon.reset();
    clock->advance(120s);
  }
  std::string taken(asio::awaitable<std::string> sample) {
    std::string text;
    asio::co_spawn(context, std::move(sample),
                   [&](const std::exception_ptr& failure, std::string result) {
                     EXPECT_FALSE(failure);
                     text = std::move(result);
                   });
    clock->settle();
    // The tool takes a moment to start, and is waited for in vain where there is none.
    for (int i = 0; i < 30 && text.empty(); ++i) {
      clock->advance(100ms);
    }
    return text;
  }
  /// A sample's members but the ones that are this machine's and this moment's own.
  std::string fieldsOf(const std::string& text) {
    JSONValue value = JSONValue::any(readJSON(text));
    JSONObject fields = *value.get<JSONObject>();
    for (const char* own : {"load", "load_now", "ts"}) {
      EXPECT_NE(fields.find(own), nullptr);
      fields.erase(own);
    }
    return JSONValue(std::move(fields)).text();
  }

  asio::io_context context;
  std::shared_ptr<test::ManualClock> clock = std::make_shared<test::ManualClock>(context);
  std::shared_ptr<Replay> replay = std::make_shared<Replay>("laptop.txt");
  std::shared_ptr<RecordedSystem> system = std::make_shared<RecordedSystem>();
  std::filesystem::path tool = "/bin/sh";
  std::shared_ptr<MacmonReader> macmon = std::make_shared<MacmonReader>(
      std::vector{tool},
      MacmonReader::Dependencies{
          context.get_executor(), clock, replay,
          [this](const auto& /*executor*/, const auto& /*path*/, const auto& /*arguments*/) {
            return std::make_unique<PrintingTool>(replay->outputs["stream"], clock);
          }});
  std::shared_ptr<SystemSampleSource> source = makeSource();

  std::shared_ptr<SystemSampleSource> makeSource() {
    return std::make_shared<SystemSampleSource>(
        context.get_executor(), clock, std::make_shared<MacReadings>(replay, macmon, system));
  }
};

constexpr const char* everything =
    R"({"battery_condition":"Normal","battery_cycles":312,"battery_design_cycles":1000,)"
    R"("battery_est_min":65,"battery_max_capacity_pct":92,"battery_min":65,"battery_pct":87,)"
    R"("battery_state":"charging","connections":{"bluetooth":[{"battery":76,"kind":"keyboard",)"
    R"("name":"Keyboard"}],"bluetooth_on":true,"displays":[{"builtin":true,"height":1664,)"
    R"("main":true,"name":"Color LCD","refresh_hz":60.0,"width":2560}],"network":{"gateway":)"
    R"("192.0.2.1","link":"Wi-Fi","router":"router.example"},"usb":[{"kind":"storage","maker":)"
    R"("Maker","name":"Portable SSD","speed":"10 Gb/s","storage":true,"volume":"Backup Disk"}],)"
    R"("volumes":[{"free_bytes":100000000000,"is_time_machine":false,"name":"Macintosh HD",)"
    R"("protocol":"Apple Fabric","size_bytes":500000000000},{"free_bytes":555120910336,)"
    R"("is_time_machine":true,"name":"Backup Disk","protocol":"USB","size_bytes":999995129856}]},)"
    R"("cpu_pct":41.2,"cpu_power_w":4.5,"disk_free_gb":100,"disk_pct":80.0,"ecpu_mhz":1820,)"
    R"("epoch":1800003600,"epoch_ms":1800003600100,"gpu_off":false,"gpu_pct":10.0,)"
    R"("gpu_power_w":0.75,"on_ac":true,"pcpu_mhz":3204,"power_w":7.25,"procs":[[141.2,"Compiler"],)"
    R"([12.0,"Window Server"],[3.4,"Téléchargement de très longs noms "],[0.0,"launchd"]],)"
    R"("ram_pct":62.5,"ram_total_gb":16.0,"ram_used_gb":10.0,"swap_gb":0.25,"sys_power_w":14.2,)"
    R"("temp_cpu":52.3,"temp_gpu":45.1,"tm_disk_connected":true,"tm_disk_name":"Backup Disk",)"
    R"("tm_last_backup":1799985600,"tm_running":false,"uptime_h":144.7})";

TEST_F(RecordedMac, EveryKeyOfTheSample) {
  EXPECT_EQ(fieldsOf(taken(source->sample())), everything);
  EXPECT_EQ(taken(source->alertSample()),
            R"({"battery_condition":"Normal","battery_cycles":312,"battery_design_cycles":1000,)"
            R"("battery_est_min":65,"battery_max_capacity_pct":92,"battery_min":65,)"
            R"("battery_pct":87,"battery_state":"charging","cpu_pct":41.2,"disk_free_gb":100,)"
            R"("disk_pct":80.0,"epoch":1800003600,"epoch_ms":1800003600100,"on_ac":true,)"
            R"("power_w":7.25,"temp_cpu":52.3,"tm_disk_connected":true,)"
            R"("tm_disk_name":"Backup Disk","tm_last_backup":1799985600,"tm_running":false})");
  // The description of the machine is read once, and comes whenever it is asked for.
  replay->taken.clear();
  for (int i = 0; i < 2; ++i) {
    const UntypedValue full = readJSON(taken(source->sample(true)));
    EXPECT_EQ(JSONValue::any(*full.find("mac_info")).text(),
              R"({"chip":"Chip","e_cores":4,"e_max_mhz":2424,"icon_png":"UE5H","macos":"14.2.1",)"
              R"("model_id":"Mac14,2","p_cores":4,"p_max_mhz":3504,"product_name":"MacBook Air",)"
              R"("ram_gb":16})");
  }
  EXPECT_EQ(replay->taken.count("10 s: /bin/sh pipe -s 1 -i 200 --soc-info"), 1U);
}

TEST_F(RecordedMac, EveryGroupAtItsOwnPace) {
  const std::set<std::string> always = {"5 s: /usr/bin/pmset -g batt",
                                        "5 s: /bin/ps -Aceo pcpu,comm -r"};
  const std::set<std::string> connections = {
      "25 s: /usr/sbin/system_profiler SPBluetoothDataType SPStorageDataType SPDisplaysDataType "
      "-json",
      "8 s: /usr/sbin/ioreg -a -r -c IOUSBHostDevice -l -w0", "4 s: /sbin/route -n get default",
      "6 s: /usr/sbin/networksetup -listnetworkserviceorder",
      "4 s: /usr/bin/dig +short -x 192.0.2.1 +time=1 +tries=1"};
  const std::set<std::string> slow = {
      "5 s: /usr/sbin/ioreg -rn AppleSmartBattery",
      "5 s: /usr/bin/defaults export /Library/Preferences/com.apple.TimeMachine -",
      "5 s: /usr/bin/tmutil destinationinfo", "5 s: /usr/bin/tmutil status"};
  const std::set<std::string> health = {"20 s: /usr/sbin/system_profiler SPPowerDataType"};
  using Groups = std::vector<std::set<std::string>>;
  const std::pair<std::chrono::seconds, Groups> timeline[] = {
      {0s, {always, connections, slow, health}},
      {5s, {always}},
      {10s, {always, connections}},
      {19s, {always}},
      {30s, {always, connections, slow}},
      {599s, {always, connections, slow}},
      {600s, {always}},
      {610s, {always, connections}},
      {629s, {always, connections, slow, health}}};
  Instant start = clock->now();
  for (const auto& [time, groups] : timeline) {
    clock->advance(start + time - clock->now());
    replay->taken.clear();
    taken(source->sample());
    std::multiset<std::string> expected;
    for (const auto& group : groups) {
      expected.insert(group.begin(), group.end());
    }
    EXPECT_EQ(replay->taken, expected) << time.count();
    if (time == 0s) {
      start = clock->now();
    }
  }
}

TEST_F(RecordedMac, WithoutAnythingToRead) {
  replay->isMute = true;
  tool = "/nowhere";
  system->volume = std::nullopt;
  macmon = std::make_shared<MacmonReader>(
      std::vector{tool}, MacmonReader::Dependencies{context.get_executor(), clock, replay, {}});
  source = makeSource();
  EXPECT_EQ(fieldsOf(taken(source->sample(false))),
            R"({"battery_condition":null,"battery_cycles":null,"battery_design_cycles":null,)"
            R"("battery_est_min":null,"battery_max_capacity_pct":null,"battery_min":null,)"
            R"("battery_pct":null,"battery_state":"paused","connections":{"displays":[],)"
            R"("network":null,"usb":[],"volumes":[]},"epoch":1800003603,)"
            R"("epoch_ms":1800003603000,"error":"macmon indisponible","on_ac":false,"procs":[],)"
            R"("tm_last_backup":null,"uptime_h":144.7})");
  EXPECT_EQ(replay->taken.count("5 s: /usr/bin/tmutil status"), 0U)
      << "no history, nothing more to ask";
  EXPECT_EQ(replay->taken.count("4 s: /usr/bin/dig +short -x 192.0.2.1 +time=1 +tries=1"), 0U);
}

TEST_F(RecordedMac, TheBatterysOwnEstimateStandsInForAMissingOne) {
  replay->outputs["5 s: /usr/bin/pmset -g batt"] =
      "Now drawing from 'Battery Power'\n -InternalBattery-0 (id=1)\t50%; discharging; (no "
      "estimate) present: true\n";
  system->volume->forImportantUsage = 0;
  const UntypedValue sample = readJSON(taken(source->sample()));
  EXPECT_EQ(*sample.find("battery_min"), UntypedValue(std::int64_t{65}));
  EXPECT_EQ(*sample.find("disk_free_gb"), UntypedValue(std::int64_t{90}));
  EXPECT_EQ(replay->taken.count("5 s: /usr/sbin/ioreg -rn AppleSmartBattery"), 2U);
}

TEST_F(RecordedMac, ASampleAndAnAlertSampleShareWhatTheyRead) {
  int ended = 0;
  const auto count = [&](const std::exception_ptr& failure, const std::string& text) {
    EXPECT_FALSE(failure);
    EXPECT_NE(text.find("tm_last_backup"), std::string::npos);
    ++ended;
  };
  asio::co_spawn(context, source->sample(), count);
  asio::co_spawn(context, source->alertSample(), count);
  clock->advance(1s);
  EXPECT_EQ(ended, 2);
  EXPECT_EQ(replay->taken.count(
                "5 s: /usr/bin/defaults export /Library/Preferences/com.apple.TimeMachine -"),
            1U);
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
  replay->outputs["8 s: /usr/sbin/ioreg -a -r -c IOUSBHostDevice -l -w0"] =
      "<plist><array>" + devices + "</array></plist>";
  replay->outputs["5 s: /bin/ps -Aceo pcpu,comm -r"] = "9.0 " + marks + "\n";
  replay->outputs["20 s: /usr/sbin/system_profiler SPPowerDataType"] = "Condition: " + marks + "\n";
  const std::string sample = taken(source->sample(true));
  EXPECT_LT(sample.size(), 30'000U);
  EXPECT_EQ(readJSON(sample).find("connections")->find("usb")->get<UntypedValue::List>()->size(),
            64U);
}

TEST(DiskFields, RoundTiesToEven) {
  const auto text = [](double total, double free) {
    return JSONValue(diskFields(total, free)).text();
  };
  EXPECT_EQ(text(500e9, 100e9), R"({"disk_free_gb":100,"disk_pct":80.0})");
  EXPECT_EQ(text(3e9, 2.5e9), R"({"disk_free_gb":2,"disk_pct":16.7})");
  EXPECT_EQ(text(0, 0), "{}");
}

TEST(LoadNow, UndoesTheKernelsDamping) {
  LoadNow load;
  EXPECT_EQ(load.update(1.0, 100), 1.0);
  EXPECT_EQ(load.update(1.0, 105), 1.0);
  // The kernel's own step from 1.0 under a load of 3: 1.0 × 0.92 + 3 × 0.08. The average stood
  // still at 105, so that two of its intervals count as passed.
  const double damping = std::exp(-5.0 / 60);
  EXPECT_NEAR(load.update(damping + 3 * (1 - damping), 105.1), 3.0, 0.05);
  EXPECT_EQ(load.update(0.1, 106), 0.0) << "a load is never below nothing";
}

/// Holds one tool up, on the way to its recorded output.
class HeldTool final : public CommandRunner {
 public:
  HeldTool(const asio::any_io_executor& executor, std::string path, std::shared_ptr<Replay> replay)
      : path(std::move(path)), replay(std::move(replay)), changed(executor) {}
  asio::awaitable<std::string> run(std::string tool, std::vector<std::string> arguments,
                                   Seconds timeout) override {
    const std::function<bool()> isFree = [&] { return tool != path; };
    co_await changed.until(isFree);
    co_return co_await replay->run(tool, arguments, timeout);
  }
  void letGo() {
    path.clear();
    changed.notify();
  }

 private:
  std::string path;
  std::shared_ptr<Replay> replay;
  Notifier changed;
};

TEST_F(RecordedMac, WhatACancelledSampleHasNotReadTheNextOneReads) {
  const struct {
    const char* tool;
    const char* command;
    const char* key;
  } cases[] = {{"/usr/bin/pmset", "5 s: /usr/bin/pmset -g batt", "battery_pct"},
               {"/usr/bin/defaults",
                "5 s: /usr/bin/defaults export /Library/Preferences/com.apple.TimeMachine -",
                "tm_last_backup"},
               {"/usr/bin/tmutil", "5 s: /usr/bin/tmutil status", "tm_running"},
               {"/bin/ps", "5 s: /bin/ps -Aceo pcpu,comm -r", "Compiler"},
               {"/sbin/route", "4 s: /sbin/route -n get default", "192.0.2.1"}};
  enum class When { before, during, justAfter };
  for (const auto& [path, command, key] : cases) {
    for (const When when : {When::before, When::during, When::justAfter}) {
      const auto held = std::make_shared<HeldTool>(context.get_executor(), path, replay);
      source = std::make_shared<SystemSampleSource>(
          context.get_executor(), clock, std::make_shared<MacReadings>(held, macmon, system));
      asio::cancellation_signal cancellation;
      bool isOver = false;
      const auto end = [&](const std::exception_ptr& failure, const std::string& text) {
        EXPECT_EQ(text.empty(), failure != nullptr);
        EXPECT_TRUE(failure || when == When::justAfter) << path;
        isOver = true;
      };
      asio::co_spawn(context, source->sample(),
                     asio::bind_cancellation_slot(cancellation.slot(), end));
      if (when != When::before) {
        clock->advance(1s);
      }
      if (when == When::justAfter) {
        held->letGo();
      }
      cancellation.emit(asio::cancellation_type::terminal);
      clock->settle();
      ASSERT_TRUE(isOver) << path;
      held->letGo();
      replay->taken.clear();
      EXPECT_NE(taken(source->sample()).find(key), std::string::npos) << path;
      if (when != When::justAfter) {
        EXPECT_EQ(replay->taken.count(command), 1U) << path;
      }
    }
  }
}

}  // namespace
}  // namespace orvik
