#include "core/sampling/linux/LinuxReadings.h"

#include <boost/asio/experimental/awaitable_operators.hpp>

#include <cstdlib>
#include <mutex>
#include <utility>

#include "core/sampling/ThisMachine.h"
#include "core/sampling/linux/BatteryReader.h"
#include "core/sampling/linux/DevicesReader.h"
#include "core/sampling/linux/DiskReader.h"
#include "core/sampling/linux/MachineInfoReader.h"
#include "core/sampling/linux/ProcessReader.h"
#include "core/sampling/linux/ProcessorReader.h"
#include "core/sampling/linux/SensorReader.h"
#include "core/sampling/linux/VolumeReader.h"

namespace orvik {

namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;

/// How long a sample waits for a group, and how old the group's last answer may
/// be to stand in for one that does not come.
struct Limits {
  Clock::Duration wait;
  Clock::Duration oldest;
};
/// Files of the kernel answer within milliseconds; sensors may have to be asked
/// over a slow bus.
constexpr Limits kernelLimits{seconds(2), seconds(10)};
constexpr Limits batteryLimits{seconds(2), seconds(60)};
/// A disk may have to spin up first.
constexpr Limits diskLimits{seconds(5), seconds(300)};
constexpr Limits devicesLimits{seconds(2), seconds(60)};
/// Read once, beside a sample.
constexpr Limits infoLimits{seconds(10), seconds(0)};

/// Between the two looks that a first rate takes.
constexpr milliseconds firstInterval{500};

std::string homeFolder() {
  const char* home = std::getenv("HOME");
  return home == nullptr || *home == '\0' ? "/" : home;
}

/// What was read last, and when. Written on the thread that reads.
template <typename Result>
class LastAnswer {
 public:
  void set(Result result, Instant now) {
    const std::lock_guard guard(lock);
    answer = std::move(result);
    at = now;
  }
  [[nodiscard]] std::optional<Result> get(Clock::Duration oldest, Instant now) const {
    const std::lock_guard guard(lock);
    return answer && now - at <= oldest ? answer : std::nullopt;
  }

 private:
  mutable std::mutex lock;
  std::optional<Result> answer;
  Instant at;
};

/// A reader, and the thread that it is asked on. What is being read keeps what
/// it uses.
template <typename Reader>
struct Group {
  template <typename... Arguments>
  explicit Group(const std::shared_ptr<Clock>& clock, Arguments&&... arguments)
      : clock(clock),
        reader(std::make_shared<Reader>(std::forward<Arguments>(arguments)...)),
        work(clock) {}

  const std::shared_ptr<Clock> clock;
  const std::shared_ptr<Reader> reader;
  BlockingWork work;
};

/// One of the questions that a group answers.
template <typename Result>
struct Question {
  /// The answer; when it does not come in time, the last one if it is not too
  /// old. An answer that comes too late is there for the next time.
  template <typename Reader, typename Read>
  asio::awaitable<std::optional<Result>> ask(Group<Reader>& group, Limits limits, Read read) {
    auto work = [reader = group.reader, clock = group.clock, last = last, read = std::move(read)] {
      Result result = read(*reader);
      last->set(result, clock->now());
      return result;
    };
    auto answer = co_await group.work.run(limits.wait, std::move(work));
    co_return answer ? std::move(answer) : last->get(limits.oldest, group.clock->now());
  }

  const std::shared_ptr<LastAnswer<Result>> last = std::make_shared<LastAnswer<Result>>();
};

}  // namespace

struct LinuxReadings::Groups {
  Groups(const std::shared_ptr<Clock>& clock, const std::string& root, std::string home)
      : processor(clock, root),
        sensors(clock, root),
        battery(clock, root),
        processes(clock, root),
        disk(clock, std::move(home)),
        volumes(clock, root),
        devices(clock, root, DevicesReader::Outside()),
        machineInfo(clock, root) {}

  Group<ProcessorReader> processor;
  Question<JSONObject> use;
  Group<SensorReader> sensors;
  Question<JSONObject> measured;
  Group<BatteryReader> battery;
  Question<JSONObject> charge;
  Question<JSONObject> batteryExtras;
  Question<JSONObject> batteryHealth;
  Group<ProcessReader> processes;
  Question<std::optional<JSONValue>> busiest;
  Group<DiskReader> disk;
  Question<JSONObject> diskUse;
  Group<VolumeReader> volumes;
  Question<std::vector<MountedVolume>> mounted;
  Group<DevicesReader> devices;
  Question<JSONObject> connected;
  Group<MachineInfoReader> machineInfo;
  Question<JSONObject> info;
  /// The processor has been read twice.
  bool hasRates = false;
};

LinuxReadings::LinuxReadings(std::shared_ptr<Clock> systemClock, const std::string& root,
                             std::string home)
    : clock(std::move(systemClock)),
      groups(std::make_unique<Groups>(clock, root, std::move(home))) {}

LinuxReadings::LinuxReadings(std::shared_ptr<Clock> clock)
    : LinuxReadings(std::move(clock), "/", homeFolder()) {}

LinuxReadings::~LinuxReadings() = default;

std::array<double, 3> LinuxReadings::loadAverages() { return readMachineLoad().loadAverages; }

std::int64_t LinuxReadings::readBootEpoch() {
  // Not the kernel's own figure, which is off for ever where the clock was set
  // after the start.
  const auto uptime = std::chrono::duration_cast<Clock::UnixTime::duration>(
      std::chrono::duration<double>(readMachineLoad().uptime));
  return epochSeconds(clock->unixNow() - uptime);
}

asio::awaitable<JSONObject> LinuxReadings::freshProcessor() {
  using namespace asio::experimental::awaitable_operators;
  auto [use, measured] =
      co_await (groups->use.ask(groups->processor, kernelLimits, [](ProcessorReader& reader) {
        return reader.read();
      }) && groups->measured.ask(groups->sensors, kernelLimits, [](SensorReader& reader) {
        return reader.read();
      }));
  JSONObject fields = std::move(use).value_or(JSONObject());
  fields.merge(std::move(measured).value_or(JSONObject()));
  co_return fields;
}

asio::awaitable<JSONObject> LinuxReadings::processor() {
  JSONObject fields = co_await freshProcessor();
  if (!std::exchange(groups->hasRates, true) && fields.find("cpu_pct") == nullptr) {
    co_await clock->sleepFor(firstInterval);
    fields = co_await freshProcessor();
  }
  if (fields.empty()) {
    fields.set("error", noProcessorReadings);
  }
  co_return fields;
}

asio::awaitable<JSONObject> LinuxReadings::battery() {
  auto fields = co_await groups->charge.ask(
      groups->battery, batteryLimits,
      [now = clock->now()](BatteryReader& reader) { return reader.battery(now); });
  co_return std::move(fields).value_or(JSONObject());
}

asio::awaitable<JSONValue> LinuxReadings::processes() {
  const auto read = [](ProcessReader& reader) { return reader.read(); };
  auto busiest = co_await groups->busiest.ask(groups->processes, kernelLimits, read);
  if (busiest && !*busiest) {
    // There was nothing to compare with.
    co_await clock->sleepFor(firstInterval);
    busiest = co_await groups->busiest.ask(groups->processes, kernelLimits, read);
  }
  co_return busiest.value_or(std::nullopt).value_or(JSONValue::Array());
}

asio::awaitable<JSONObject> LinuxReadings::disk() {
  auto fields = co_await groups->diskUse.ask(
      groups->disk, diskLimits, [](const DiskReader& reader) { return reader.read(); });
  co_return std::move(fields).value_or(JSONObject());
}

asio::awaitable<JSONObject> LinuxReadings::batteryExtras() {
  auto fields = co_await groups->batteryExtras.ask(
      groups->battery, batteryLimits,
      [now = clock->now()](BatteryReader& reader) { return reader.batteryExtras(now); });
  co_return std::move(fields).value_or(JSONObject());
}

asio::awaitable<JSONObject> LinuxReadings::batteryHealth() {
  auto fields = co_await groups->batteryHealth.ask(
      groups->battery, batteryLimits,
      [now = clock->now()](BatteryReader& reader) { return reader.batteryHealth(now); });
  co_return std::move(fields).value_or(JSONObject());
}

asio::awaitable<JSONObject> LinuxReadings::timeMachine() { co_return JSONObject(); }

asio::awaitable<JSONObject> LinuxReadings::connections(std::optional<std::string> timeMachineDisk) {
  const auto mounted = co_await groups->mounted.ask(
      groups->volumes, devicesLimits, [](VolumeReader& reader) { return reader.read(); });
  auto read = [volumes = mounted.value_or(std::vector<MountedVolume>()),
               now = clock->now()](DevicesReader& reader) { return reader.read(volumes, now); };
  auto fields = co_await groups->connected.ask(groups->devices, devicesLimits, std::move(read));
  JSONObject connections = std::move(fields).value_or(JSONObject());
  if (mounted) {
    connections.set("volumes", volumesJSON(*mounted, timeMachineDisk));
  }
  co_return connections;
}

asio::awaitable<JSONObject> LinuxReadings::macInfo() {
  auto fields = co_await groups->info.ask(groups->machineInfo, infoLimits,
                                          [](MachineInfoReader& reader) { return reader.read(); });
  co_return std::move(fields).value_or(JSONObject());
}

}  // namespace orvik
