#include "core/sampling/SystemSampleSource.h"

#include <boost/asio/dispatch.hpp>

#include <array>
#include <cmath>
#include <ctime>
#include <initializer_list>
#include <optional>
#include <utility>
#include <vector>

#include "core/async/RunOn.h"
#include "core/sampling/SampleBounds.h"
#include "core/values/JSONMembers.h"
#include "core/values/NumberText.h"

namespace orvik {

namespace {

using namespace std::chrono_literals;
using Pace = ReadingGroup::Pace;

// Disks and backups change slowly; the tool that tells the battery's health takes seconds; what is
// plugged in is expected to show soon. What stands in for a reading that does not come may be as
// old as nobody would take for wrong.
constexpr Pace processorPace{0s, 10s, 4s};  // the tool takes 3 s at most to start
constexpr Pace freshPace{0s, 10s, 9s};      // a run of its own has 8 s, and nobody looks on
constexpr Pace batteryPace{0s, 10min, 1s};
constexpr Pace processesPace{0s, 10s, 1s};
constexpr Pace slowPace{30s, 10min, 1s};
constexpr Pace healthPace{600s, 60min, 1s};
constexpr Pace connectionsPace{10s, 60s, 1s};
constexpr Pace infoPace{0s, Clock::Duration::max(), 5s};

double secondsSince1970(Clock::UnixTime time) {
  return std::chrono::duration<double>(time.time_since_epoch()).count();
}

/// Local time of day in ASCII digits.
std::string clockText(Clock::UnixTime now) {
  // A traveller's zone changes while the program runs.
  tzset();
  const std::time_t time = epochSeconds(now);
  std::tm local{};
  std::array<char, 16> text{};
  if (localtime_r(&time, &local) == nullptr) {
    return {};
  }
  return {text.data(), std::strftime(text.data(), text.size(), "%H:%M:%S", &local)};
}

void setEpoch(JSONObject& fields, Clock::UnixTime now) {
  fields.set("epoch", epochSeconds(now));
  fields.set("epoch_ms", epochMilliseconds(now));
}

JSONValue roundedLoad(const std::array<double, 3>& averages) {
  JSONValue::Array rounded;
  for (const double average : averages) {
    rounded.emplace_back(pyRound(average, 2));
  }
  return rounded;
}

/// The hours since a moment, or the integer 0 when it is not known.
JSONValue uptimeHours(std::int64_t bootEpoch, Clock::UnixTime now) {
  constexpr double secondsPerHour = 3600;
  if (bootEpoch <= 0) {
    return 0;
  }
  return pyRound((secondsSince1970(now) - static_cast<double>(bootEpoch)) / secondsPerHour, 1);
}

bool runsOnBatteryOfUnknownTime(const JSONObject& fields) {
  const JSONValue* onMains = fields.find("on_ac");
  const JSONValue* minutes = fields.find("battery_min");
  return onMains != nullptr && *onMains == JSONValue(false) &&
         (minutes == nullptr || minutes->is<JSONValue::Null>());
}

asio::awaitable<JSONObject> busiest(std::shared_ptr<MachineReadings> readings) {
  JSONValue processes = co_await readings->processes();
  co_return JSONObject{{"procs", std::move(processes)}};
}

}  // namespace

struct SystemSampleSource::Groups {
  using Group = std::shared_ptr<ReadingGroup>;

  Groups(const asio::any_io_executor& executor, const std::shared_ptr<Clock>& clock) {
    for (const auto& [group, pace] :
         std::initializer_list<std::pair<Group*, Pace>>{{&processor, processorPace},
                                                        {&freshProcessor, freshPace},
                                                        {&battery, batteryPace},
                                                        {&estimate, batteryPace},
                                                        {&processes, processesPace},
                                                        {&disk, slowPace},
                                                        {&batteryExtras, slowPace},
                                                        {&batteryHealth, healthPace},
                                                        {&timeMachine, slowPace},
                                                        {&connections, connectionsPace},
                                                        {&macInfo, infoPace}}) {
      *group = std::make_shared<ReadingGroup>(executor, clock, pace);
      all.push_back(*group);
    }
  }

  Group processor, freshProcessor, battery, estimate, processes, disk, batteryExtras, batteryHealth,
      timeMachine, connections, macInfo;
  std::vector<Group> all;
};

SystemSampleSource::SystemSampleSource(const asio::any_io_executor& executor,
                                       const std::shared_ptr<Clock>& clock,
                                       const std::shared_ptr<MachineReadings>& readings)
    : strand(asio::make_strand(executor)),
      clock(clock),
      readings(readings),
      groups(std::make_shared<Groups>(strand, clock)) {}

SystemSampleSource::~SystemSampleSource() {
  asio::dispatch(strand, [groups = groups] {
    for (const auto& group : groups->all) {
      group->cancel();
    }
  });
}

asio::awaitable<std::string> SystemSampleSource::sample() { return sample(false); }

asio::awaitable<std::string> SystemSampleSource::sample(bool withMacInfo) {
  const auto self = shared_from_this();
  co_return co_await runOn(strand, sampleOnStrand(withMacInfo));
}

asio::awaitable<std::string> SystemSampleSource::alertSample() {
  const auto self = shared_from_this();
  co_return co_await runOn(strand, alertSampleOnStrand());
}

asio::awaitable<std::string> SystemSampleSource::sampleOnStrand(bool withMacInfo) {
  if (withMacInfo && groups->macInfo->last().empty()) {
    groups->macInfo->refresh([readings = readings] { return readings->macInfo(); });
  }
  JSONObject fields = co_await sampleFields();
  if (withMacInfo) {
    JSONObject info = co_await groups->macInfo->latest();
    if (!info.empty()) {
      fields.set("mac_info", std::move(info));
    }
  }
  keepWithinBounds(fields);
  co_return JSONValue(std::move(fields)).text();
}

asio::awaitable<JSONObject> SystemSampleSource::sampleFields() {
  groups->processor->refresh([readings = readings] { return readings->processor(); });
  groups->battery->refresh([readings = readings] { return readings->battery(); });
  groups->processes->refresh([readings = readings] { return busiest(readings); });
  refreshSlow();

  JSONObject fields = co_await groups->processor->latest();
  JSONObject slowFields = co_await slow();
  JSONObject battery = co_await groups->battery->latest();

  const Clock::UnixTime now = clock->unixNow();
  const std::array<double, 3> averages = readings->loadAverages();
  fields.set("load", roundedLoad(averages));
  fields.set("load_now", loadNow.update(averages.front(), secondsSince1970(now)));
  fields.set("uptime_h", uptimeHours(readings->readBootEpoch(), now));
  fields.merge(std::move(battery));
  fields.merge(std::move(slowFields));
  if (runsOnBatteryOfUnknownTime(fields)) {
    fields.set("battery_min", co_await batteryEstimate());
  }
  fields.merge(co_await groups->processes->latest());
  JSONObject connected = co_await currentConnections(fields);
  if (!connected.empty()) {
    fields.set("connections", std::move(connected));
  }

  const Clock::UnixTime end = clock->unixNow();
  fields.set("ts", clockText(end));
  setEpoch(fields, end);
  co_return fields;
}

asio::awaitable<std::string> SystemSampleSource::alertSampleOnStrand() {
  groups->freshProcessor->refresh([readings = readings] { return readings->freshProcessor(); });
  groups->battery->refresh([readings = readings] { return readings->battery(); });
  refreshSlow();
  const JSONObject measured = co_await groups->freshProcessor->latest();
  JSONObject fields;
  for (const char* key : {"temp_cpu", "cpu_pct", "power_w"}) {
    if (const JSONValue* value = measured.find(key)) {
      fields.set(key, *value);
    }
  }
  fields.merge(co_await groups->battery->latest());
  fields.merge(co_await slow());
  setEpoch(fields, clock->unixNow());
  keepWithinBounds(fields);
  co_return JSONValue(std::move(fields)).text();
}

void SystemSampleSource::refreshSlow() {
  const bool isDue = groups->disk->refresh([readings = readings] { return readings->disk(); });
  groups->batteryExtras->refresh([readings = readings] { return readings->batteryExtras(); });
  groups->timeMachine->refresh([readings = readings] { return readings->timeMachine(); });
  if (isDue) {
    groups->batteryHealth->refresh([readings = readings] { return readings->batteryHealth(); });
  }
}

asio::awaitable<JSONObject> SystemSampleSource::slow() {
  JSONObject fields = co_await groups->disk->latest();
  fields.merge(co_await groups->batteryExtras->latest());
  fields.merge(co_await groups->batteryHealth->latest());
  fields.merge(co_await groups->timeMachine->latest());
  co_return fields;
}

asio::awaitable<JSONObject> SystemSampleSource::currentConnections(const JSONObject& fields) {
  const auto timeMachineDisk = member<std::string>(fields, "tm_disk_name");
  groups->connections->refresh(
      [readings = readings, timeMachineDisk] { return readings->connections(timeMachineDisk); });
  return groups->connections->latest();
}

asio::awaitable<JSONValue> SystemSampleSource::batteryEstimate() {
  groups->estimate->refresh([readings = readings] { return readings->batteryExtras(); });
  const JSONObject extras = co_await groups->estimate->latest();
  const JSONValue* estimate = extras.find("battery_est_min");
  co_return estimate == nullptr ? JSONValue() : *estimate;
}

}  // namespace orvik
