#pragma once

#include <memory>
#include <string>

#include "core/async/BlockingWork.h"
#include "core/sampling/MachineReadings.h"

namespace orvik {

/// A Linux machine's readings: from proc and sys, from BlueZ and NetworkManager over the system
/// bus, and from the mounted file systems. No process is started.
///
/// Any of them may block, so each group of readings has a thread of its own and a time limit: a
/// broken sensor costs the sensors, a share whose server is gone the volumes, and nothing else. An
/// answer that comes too late is given the next time.
class LinuxReadings final : public MachineReadings {
 public:
  /// Reads under `root`. `home` is the folder whose file system counts as the machine's disk.
  LinuxReadings(std::shared_ptr<Clock> clock, const std::string& root, std::string home);
  /// This machine, and the user's home.
  explicit LinuxReadings(std::shared_ptr<Clock> clock);
  ~LinuxReadings() override;

  [[nodiscard]] std::array<double, 3> loadAverages() override;
  [[nodiscard]] std::int64_t readBootEpoch() override;
  asio::awaitable<JSONObject> processor() override;
  asio::awaitable<JSONObject> freshProcessor() override;
  asio::awaitable<JSONObject> battery() override;
  asio::awaitable<JSONValue> processes() override;
  asio::awaitable<JSONObject> disk() override;
  asio::awaitable<JSONObject> batteryExtras() override;
  asio::awaitable<JSONObject> batteryHealth() override;
  /// Nothing: Linux knows no such backups.
  asio::awaitable<JSONObject> timeMachine() override;
  asio::awaitable<JSONObject> connections(std::optional<std::string> timeMachineDisk) override;
  asio::awaitable<JSONObject> macInfo() override;

 private:
  struct Groups;

  const std::shared_ptr<Clock> clock;
  const std::unique_ptr<Groups> groups;
};

}  // namespace orvik
