#include "core/sampling/SystemSampleSource.h"

#include <boost/asio/experimental/awaitable_operators.hpp>

#include <array>
#include <cmath>
#include <ctime>

#include "core/async/RunOn.h"
#include "core/sampling/SampleBounds.h"
#include "core/values/NumberText.h"

namespace orvik {

namespace {

using std::chrono::seconds;

// Disks and backups change slowly; the tool that tells the battery's health takes seconds; what is
// plugged in is expected to show soon.
constexpr seconds slowInterval{30};
constexpr seconds healthInterval{600};
constexpr seconds connectionsInterval{10};

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

}  // namespace

SystemSampleSource::SystemSampleSource(const asio::any_io_executor& executor,
                                       std::shared_ptr<Clock> clock,
                                       std::shared_ptr<MachineReadings> readings)
    : strand(asio::make_strand(executor)),
      clock(std::move(clock)),
      readings(std::move(readings)),
      processorMutex(strand),
      freshProcessorMutex(strand),
      batteryMutex(strand),
      processesMutex(strand),
      slow(strand, slowInterval),
      connections(strand, connectionsInterval),
      healthCadence(healthInterval),
      macInfoMutex(strand) {}

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
  using namespace asio::experimental::awaitable_operators;
  JSONObject fields;
  if (withMacInfo && macInfo.empty()) {
    fields = co_await (sampleFields() && macInfoMutex.withLock(readMacInfo()));
  } else {
    fields = co_await sampleFields();
  }
  if (withMacInfo && !macInfo.empty()) {
    fields.set("mac_info", macInfo);
  }
  co_return JSONValue(std::move(fields)).text();
}

asio::awaitable<void> SystemSampleSource::readMacInfo() {
  if (macInfo.empty()) {
    macInfo = withinBounds(co_await readings->macInfo());
  }
}

asio::awaitable<JSONObject> SystemSampleSource::sampleFields() {
  JSONObject fields = co_await processorMutex.withLock(readings->processor());
  co_await refreshSlow();

  const Clock::UnixTime now = clock->unixNow();
  const std::array<double, 3> averages = readings->loadAverages();
  fields.set("load", roundedLoad(averages));
  fields.set("load_now", loadNow.update(averages.front(), secondsSince1970(now)));
  fields.set("uptime_h", uptimeHours(readings->readBootEpoch(), now));

  fields.merge(withinBounds(co_await batteryMutex.withLock(readings->battery())));
  JSONValue busiest = co_await processesMutex.withLock(readings->processes());
  fields.merge(slow.cached);
  if (runsOnBatteryOfUnknownTime(fields)) {
    const JSONObject extras = co_await batteryMutex.withLock(readings->batteryExtras());
    const JSONValue* estimate = extras.find("battery_est_min");
    fields.set("battery_min", estimate == nullptr ? JSONValue() : *estimate);
  }
  fields.set("procs", withinBounds(busiest));

  std::optional<std::string> timeMachineDisk;
  if (const JSONValue* disk = fields.find("tm_disk_name")) {
    if (const auto* name = disk->get<std::string>()) {
      timeMachineDisk = *name;
    }
  }
  co_await connections.mutex.withLock(currentConnections(std::move(timeMachineDisk)));
  fields.set("connections", connections.cached);

  const Clock::UnixTime end = clock->unixNow();
  fields.set("ts", clockText(end));
  setEpoch(fields, end);
  co_return fields;
}

asio::awaitable<std::string> SystemSampleSource::alertSampleOnStrand() {
  const JSONObject measured = co_await freshProcessorMutex.withLock(readings->freshProcessor());
  JSONObject fields;
  for (const char* key : {"temp_cpu", "cpu_pct", "power_w"}) {
    if (const JSONValue* value = measured.find(key)) {
      fields.set(key, *value);
    }
  }
  co_await refreshSlow();
  fields.merge(withinBounds(co_await batteryMutex.withLock(readings->battery())));
  fields.merge(slow.cached);
  setEpoch(fields, clock->unixNow());
  co_return JSONValue(std::move(fields)).text();
}

asio::awaitable<void> SystemSampleSource::refreshSlow() {
  return slow.mutex.withLock(refreshSlowGroup());
}

asio::awaitable<void> SystemSampleSource::refreshSlowGroup() {
  const Instant began = clock->now();
  if (!slow.cadence.isDue(began)) {
    co_return;
  }
  JSONObject fields = co_await readings->disk();
  fields.merge(co_await batteryMutex.withLock(readings->batteryExtras()));
  fields.merge(co_await batteryHealth());
  fields.merge(co_await readings->timeMachine());
  slow.cached = withinBounds(fields);
  slow.cadence.refreshed(began, clock->now());
}

asio::awaitable<JSONObject> SystemSampleSource::batteryHealth() {
  const Instant began = clock->now();
  if (healthCadence.isDue(began)) {
    health = co_await readings->batteryHealth();
    healthCadence.refreshed(began, clock->now());
  }
  co_return health;
}

asio::awaitable<void> SystemSampleSource::currentConnections(
    std::optional<std::string> timeMachineDisk) {
  const Instant began = clock->now();
  if (connections.cadence.isDue(began)) {
    connections.cached = withinBounds(co_await readings->connections(std::move(timeMachineDisk)));
    connections.cadence.refreshed(began, clock->now());
  }
}

}  // namespace orvik
