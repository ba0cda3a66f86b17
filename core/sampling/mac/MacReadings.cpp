#include "core/sampling/mac/MacReadings.h"

#include "core/sampling/ThisMachine.h"
#include "core/sampling/Volume.h"
#include "core/sampling/mac/BluetoothParsing.h"
#include "core/sampling/mac/DisplayParsing.h"
#include "core/sampling/mac/MacmonParsing.h"
#include "core/sampling/mac/ProfilerDocument.h"
#include "core/sampling/mac/SamplerParsing.h"
#include "core/sampling/mac/USBParsing.h"
#include "core/sampling/mac/VolumeParsing.h"
#include "core/values/JSONMembers.h"
#include "core/values/JSONReader.h"
#include "core/values/Text.h"

namespace orvik {

struct MacReadings::Command {
  std::string path;
  std::vector<std::string> arguments;
  /// Seconds.
  double timeout;
};

MacReadings::MacReadings(std::shared_ptr<CommandRunner> commandRunner,
                         std::shared_ptr<MacmonReader> macmonReader,
                         std::shared_ptr<MacSystem> macSystem)
    : commands(std::move(commandRunner)),
      macmon(std::move(macmonReader)),
      system(std::move(macSystem)),
      info(system, commands, macmon) {}

asio::awaitable<std::string> MacReadings::run(const Command& command) {
  return commands->run(command.path, command.arguments, CommandRunner::Seconds(command.timeout));
}

std::array<double, 3> MacReadings::loadAverages() { return readMachineLoad().loadAverages; }

std::int64_t MacReadings::readBootEpoch() { return system->bootEpoch(); }

asio::awaitable<JSONObject> MacReadings::processor() {
  JSONObject fields = measured(co_await macmon->latest());
  if (fields.empty()) {
    fields.set("error", noProcessorReadings);
  }
  co_return fields;
}

asio::awaitable<JSONObject> MacReadings::freshProcessor() {
  co_return measured(co_await macmon->reading());
}

JSONObject MacReadings::measured(const std::optional<std::string>& line) {
  const UntypedValue value = readJSONOrNull(line.value_or(""));
  const auto* object = value.get<UntypedValue::Map>();
  return object == nullptr ? JSONObject() : SamplerParsing::macmon(*object, powerGuard);
}

asio::awaitable<JSONObject> MacReadings::battery() {
  static const Command command = {"/usr/bin/pmset", {"-g", "batt"}, 5};
  const std::string output = co_await run(command);
  // Nothing at all is no reading: the parser would find no mains in it, and alert.
  co_return trimmed(output).empty() ? JSONObject() : SamplerParsing::pmsetBattery(output);
}

asio::awaitable<JSONValue> MacReadings::processes() {
  static const Command command = {"/bin/ps", {"-Aceo", "pcpu,comm", "-r"}, 5};
  co_return SamplerParsing::processes(co_await run(command));
}

asio::awaitable<JSONObject> MacReadings::disk() {
  const auto volume = co_await system->dataVolume();
  if (!volume) {
    co_return JSONObject();
  }
  const std::int64_t important = volume->forImportantUsage.value_or(0);
  const std::int64_t free = important >= 1 ? important : volume->available.value_or(0);
  co_return diskFields(static_cast<double>(volume->total), static_cast<double>(free));
}

asio::awaitable<JSONObject> MacReadings::batteryExtras() {
  static const Command command = {"/usr/sbin/ioreg", {"-rn", "AppleSmartBattery"}, 5};
  co_return SamplerParsing::batteryExtras(co_await run(command));
}

asio::awaitable<JSONObject> MacReadings::batteryHealth() {
  static const Command command = {"/usr/sbin/system_profiler", {"SPPowerDataType"}, 20};
  co_return SamplerParsing::powerProfile(co_await run(command));
}

asio::awaitable<JSONObject> MacReadings::timeMachine() {
  static const Command preferences = {
      "/usr/bin/defaults", {"export", "/Library/Preferences/com.apple.TimeMachine", "-"}, 5};
  static const Command destination = {"/usr/bin/tmutil", {"destinationinfo"}, 5};
  static const Command progress = {"/usr/bin/tmutil", {"status"}, 5};
  const auto lastBackup = SamplerParsing::lastBackup(co_await run(preferences));
  if (!lastBackup) {
    // Without a history, or the permission to read it, there is nothing to say about backups.
    co_return JSONObject{{"tm_last_backup", nullptr}};
  }
  const std::string destinationInfo = co_await run(destination);
  const std::string status = co_await run(progress);
  co_return SamplerParsing::timeMachine(*lastBackup, status, destinationInfo);
}

asio::awaitable<JSONObject> MacReadings::connections(std::optional<std::string> timeMachineDisk) {
  static const Command profiler = {
      "/usr/sbin/system_profiler",
      {"SPBluetoothDataType", "SPStorageDataType", "SPDisplaysDataType", "-json"},
      25};
  static const Command registry = {
      "/usr/sbin/ioreg", {"-a", "-r", "-c", "IOUSBHostDevice", "-l", "-w0"}, 8};
  const UntypedValue document = ConnectionsParsing::profilerDocument(co_await run(profiler));
  auto usb = ConnectionsParsing::usbDevices(co_await run(registry));
  const auto volumes = ConnectionsParsing::volumes(document, timeMachineDisk);
  ConnectionsParsing::linkVolumes(usb, volumes);

  const auto listed = [](const auto& things) {
    JSONValue::Array list;
    for (const auto& thing : things) {
      list.push_back(thing.json());
    }
    return list;
  };
  const JSONValue way = co_await network();
  JSONObject connections = {{"volumes", listed(volumes)},
                            {"usb", listed(usb)},
                            {"network", way},
                            {"displays", ConnectionsParsing::displays(document)}};
  connections.merge(ConnectionsParsing::bluetooth(document));
  co_return connections;
}

asio::awaitable<JSONValue> MacReadings::network() {
  static const Command route = {"/sbin/route", {"-n", "get", "default"}, 4};
  static const Command services = {"/usr/sbin/networksetup", {"-listnetworkserviceorder"}, 6};
  const std::string way = co_await run(route);
  const auto gateway = SamplerParsing::gateway(way);
  if (!gateway) {
    co_return nullptr;
  }
  std::optional<std::string> link;
  if (const auto interface = SamplerParsing::interfaceName(way)) {
    link = SamplerParsing::linkName(co_await run(services), *interface);
  }
  const Command lookup = {"/usr/bin/dig", {"+short", "-x", *gateway, "+time=1", "+tries=1"}, 4};
  const auto router = SamplerParsing::routerName(co_await run(lookup));
  co_return JSONObject{{"link", orNull(link)}, {"gateway", *gateway}, {"router", orNull(router)}};
}

asio::awaitable<JSONObject> MacReadings::macInfo() { return info.read(); }

}  // namespace orvik
