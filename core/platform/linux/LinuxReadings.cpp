#include "core/platform/linux/LinuxReadings.h"

#include <cstdlib>
#include <utility>

#include "core/platform/MachineLoad.h"
#include "core/platform/linux/BatteryReader.h"
#include "core/platform/linux/ConnectionsReader.h"
#include "core/platform/linux/DiskReader.h"
#include "core/platform/linux/MachineInfoReader.h"
#include "core/platform/linux/ProcessReader.h"
#include "core/platform/linux/ProcessorReader.h"
#include "core/platform/linux/SystemLoad.h"

namespace orvik {

namespace {

using std::chrono::seconds;

/// Files of the kernel answer within milliseconds. Longer than this and the sample goes without.
constexpr seconds kernelLimit{2};
/// A file system may be on a disk that has to spin up first.
constexpr seconds diskLimit{5};
/// Above the sum of the limits that the connections' own questions have.
constexpr seconds connectionsLimit{15};

std::string homeFolder() {
  const char* home = std::getenv("HOME");
  return home == nullptr || *home == '\0' ? "/" : home;
}

}  // namespace

template <typename Reader>
struct LinuxReadings::Group {
  template <typename... Arguments>
  explicit Group(const std::shared_ptr<Clock>& clock, Arguments&&... arguments)
      : reader(std::make_shared<Reader>(std::forward<Arguments>(arguments)...)), work(clock) {}

  /// What `read` makes of the reader, or nothing when it does not come in time.
  template <typename Read>
  auto operator()(Clock::Duration limit, Read read) {
    auto function = [reader = reader, read = std::move(read)] { return read(*reader); };
    return work.run(limit, std::move(function));
  }

  const std::shared_ptr<Reader> reader;
  BoundedWork work;
};

struct LinuxReadings::Groups {
  Groups(const std::shared_ptr<Clock>& clock, const std::string& root, std::string home)
      : processor(clock, root),
        battery(clock, root),
        processes(clock, root),
        disk(clock, std::move(home)),
        connections(clock, root, ConnectionsReader::Outside()),
        machineInfo(clock, root) {}

  Group<ProcessorReader> processor;
  Group<BatteryReader> battery;
  Group<ProcessReader> processes;
  Group<DiskReader> disk;
  Group<ConnectionsReader> connections;
  Group<MachineInfoReader> machineInfo;
};

LinuxReadings::LinuxReadings(std::shared_ptr<Clock> systemClock, const std::string& rootFolder,
                             std::string home)
    : clock(std::move(systemClock)),
      root(rootFolder),
      groups(std::make_unique<Groups>(clock, root, std::move(home))) {}

LinuxReadings::LinuxReadings(std::shared_ptr<Clock> clock)
    : LinuxReadings(std::move(clock), "/", homeFolder()) {}

LinuxReadings::~LinuxReadings() = default;

std::array<double, 3> LinuxReadings::loadAverages() { return readMachineLoad().loadAverages; }

std::int64_t LinuxReadings::readBootEpoch() { return orvik::readBootEpoch(root); }

asio::awaitable<JSONObject> LinuxReadings::processor() {
  const Instant now = clock->now();
  auto fields = co_await groups->processor(
      kernelLimit, [now](ProcessorReader& reader) { return reader.read(now); });
  if (!fields) {
    // The phone's word for it, in the language that phones expect.
    fields = JSONObject{{"error", "macmon indisponible"}};
  }
  co_return std::move(*fields);
}

asio::awaitable<JSONObject> LinuxReadings::freshProcessor() { return processor(); }

asio::awaitable<JSONObject> LinuxReadings::battery() {
  const Instant now = clock->now();
  const auto fields = co_await groups->battery(
      kernelLimit, [now](BatteryReader& reader) { return reader.battery(now); });
  co_return fields.value_or(JSONObject());
}

asio::awaitable<JSONValue> LinuxReadings::processes() {
  const Instant now = clock->now();
  const auto busiest = co_await groups->processes(
      kernelLimit, [now](ProcessReader& reader) { return reader.read(now); });
  co_return busiest.value_or(JSONValue::Array());
}

asio::awaitable<JSONObject> LinuxReadings::disk() {
  const auto fields =
      co_await groups->disk(diskLimit, [](const DiskReader& reader) { return reader.read(); });
  co_return fields.value_or(JSONObject());
}

asio::awaitable<JSONObject> LinuxReadings::batteryExtras() {
  const Instant now = clock->now();
  const auto fields = co_await groups->battery(
      kernelLimit, [now](BatteryReader& reader) { return reader.batteryExtras(now); });
  co_return fields.value_or(JSONObject());
}

asio::awaitable<JSONObject> LinuxReadings::batteryHealth() {
  const Instant now = clock->now();
  const auto fields = co_await groups->battery(
      kernelLimit, [now](BatteryReader& reader) { return reader.batteryHealth(now); });
  co_return fields.value_or(JSONObject());
}

asio::awaitable<JSONObject> LinuxReadings::timeMachine() { co_return JSONObject(); }

asio::awaitable<JSONObject> LinuxReadings::connections(std::optional<std::string> timeMachineDisk) {
  const Instant now = clock->now();
  auto read = [disk = std::move(timeMachineDisk), now](ConnectionsReader& reader) {
    return reader.read(disk, now);
  };
  const auto fields = co_await groups->connections(connectionsLimit, std::move(read));
  co_return fields.value_or(JSONObject());
}

asio::awaitable<JSONObject> LinuxReadings::macInfo() {
  const auto fields = co_await groups->machineInfo(
      kernelLimit, [](MachineInfoReader& reader) { return reader.read(); });
  co_return fields.value_or(JSONObject());
}

}  // namespace orvik
