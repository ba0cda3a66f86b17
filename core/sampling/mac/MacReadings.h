#pragma once

#include <memory>

#include "core/sampling/MachineReadings.h"
#include "core/sampling/PowerGuard.h"
#include "core/sampling/mac/CommandRunner.h"
#include "core/sampling/mac/MacInfo.h"
#include "core/sampling/mac/MacSystem.h"
#include "core/sampling/mac/MacmonReader.h"

namespace orvik {

/// A Mac's readings: from its command-line tools, from the optional macmon, and from the system
/// calls that only it has.
class MacReadings final : public MachineReadings {
 public:
  MacReadings(std::shared_ptr<CommandRunner> commands, std::shared_ptr<MacmonReader> macmon,
              std::shared_ptr<MacSystem> system);

  [[nodiscard]] std::array<double, 3> loadAverages() override;
  [[nodiscard]] std::int64_t readBootEpoch() override;
  asio::awaitable<JSONObject> processor() override;
  asio::awaitable<JSONObject> freshProcessor() override;
  asio::awaitable<JSONObject> battery() override;
  asio::awaitable<JSONValue> processes() override;
  asio::awaitable<JSONObject> disk() override;
  asio::awaitable<JSONObject> batteryExtras() override;
  asio::awaitable<JSONObject> batteryHealth() override;
  asio::awaitable<JSONObject> timeMachine() override;
  asio::awaitable<JSONObject> connections(std::optional<std::string> timeMachineDisk) override;
  asio::awaitable<JSONObject> macInfo() override;

 private:
  struct Command;
  asio::awaitable<std::string> run(const Command& command);
  asio::awaitable<JSONValue> network();
  [[nodiscard]] JSONObject measured(const std::optional<std::string>& line);

  std::shared_ptr<CommandRunner> commands;
  std::shared_ptr<MacmonReader> macmon;
  std::shared_ptr<MacSystem> system;
  MacInfo info;
  PowerGuard powerGuard;
};

}  // namespace orvik
