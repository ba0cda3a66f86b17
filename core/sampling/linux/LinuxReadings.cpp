#include "core/sampling/linux/LinuxReadings.h"

#include <boost/asio/experimental/awaitable_operators.hpp>

#include <cstdlib>
#include <functional>
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
template <typename Reader, typename Result = JSONObject>
class Question {
 public:
  Question(Group<Reader>& group, Limits limits) : group(group), limits(limits) {}

  /// The answer; when it does not come in time, the last one if it is not too
  /// old, or else an empty one. An answer that comes too late is there for the
  /// next time.
  template <typename Read>
  asio::awaitable<Result> ask(Read read) {
    auto work = [reader = group.reader, clock = group.clock, last = last, read = std::move(read)] {
      Result result = std::invoke(read, *reader);
      const std::lock_guard guard(last->lock);
      last->answer = result;
      last->at = clock->now();
      return result;
    };
    auto answer = co_await group.work.run(limits.wait, std::move(work));
    if (!answer) {
      const std::lock_guard guard(last->lock);
      const bool isFresh = group.clock->now() - last->at <= limits.oldest;
      answer = isFresh ? last->answer : std::nullopt;
    }
    co_return std::move(answer).value_or(Result());
  }

 private:
  /// Written on the thread that reads.
  struct Last {
    std::mutex lock;
    std::optional<Result> answer;
    Instant at;
  };

  Group<Reader>& group;
  const Limits limits;
  const std::shared_ptr<Last> last = std::make_shared<Last>();
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
  Group<SensorReader> sensors;
  Group<BatteryReader> battery;
  Group<ProcessReader> processes;
  Group<DiskReader> disk;
  Group<VolumeReader> volumes;
  Group<DevicesReader> devices;
  Group<MachineInfoReader> machineInfo;

  Question<ProcessorReader> use{processor, kernelLimits};
  Question<SensorReader> measured{sensors, kernelLimits};
  Question<BatteryReader> charge{battery, batteryLimits};
  Question<BatteryReader> batteryExtras{battery, batteryLimits};
  Question<BatteryReader> batteryHealth{battery, batteryLimits};
  Question<ProcessReader, std::optional<JSONValue>> busiest{processes, kernelLimits};
  Question<DiskReader> diskUse{disk, diskLimits};
  Question<VolumeReader, std::optional<std::vector<MountedVolume>>> mounted{volumes, devicesLimits};
  Question<DevicesReader> connected{devices, devicesLimits};
  Question<MachineInfoReader> info{machineInfo, infoLimits};
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
  auto [fields, measured] = co_await (groups->use.ask(&ProcessorReader::read) &&
                                      groups->measured.ask(&SensorReader::read));
  fields.merge(std::move(measured));
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
  return groups->charge.ask(
      [now = clock->now()](BatteryReader& reader) { return reader.battery(now); });
}

asio::awaitable<JSONValue> LinuxReadings::processes() {
  auto busiest = co_await groups->busiest.ask(&ProcessReader::read);
  if (!busiest) {
    // There was nothing to compare with.
    co_await clock->sleepFor(firstInterval);
    busiest = co_await groups->busiest.ask(&ProcessReader::read);
  }
  co_return std::move(busiest).value_or(JSONValue::Array());
}

asio::awaitable<JSONObject> LinuxReadings::disk() { return groups->diskUse.ask(&DiskReader::read); }

asio::awaitable<JSONObject> LinuxReadings::batteryExtras() {
  return groups->batteryExtras.ask(
      [now = clock->now()](BatteryReader& reader) { return reader.batteryExtras(now); });
}

asio::awaitable<JSONObject> LinuxReadings::batteryHealth() {
  return groups->batteryHealth.ask(
      [now = clock->now()](BatteryReader& reader) { return reader.batteryHealth(now); });
}

asio::awaitable<JSONObject> LinuxReadings::timeMachine() { co_return JSONObject(); }

asio::awaitable<JSONObject> LinuxReadings::connections(std::optional<std::string> timeMachineDisk) {
  const auto mounted = co_await groups->mounted.ask(&VolumeReader::read);
  auto read = [volumes = mounted.value_or(std::vector<MountedVolume>()),
               now = clock->now()](DevicesReader& reader) { return reader.read(volumes, now); };
  JSONObject connections = co_await groups->connected.ask(std::move(read));
  if (mounted) {
    connections.set("volumes", volumesJSON(*mounted, timeMachineDisk));
  }
  co_return connections;
}

asio::awaitable<JSONObject> LinuxReadings::macInfo() {
  return groups->info.ask(&MachineInfoReader::read);
}

}  // namespace orvik
