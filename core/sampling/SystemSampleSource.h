#pragma once

#include <boost/asio/strand.hpp>

#include <memory>
#include <optional>

#include "core/async/AsyncMutex.h"
#include "core/async/Clock.h"
#include "core/sampling/Cadence.h"
#include "core/sampling/LoadNow.h"
#include "core/sampling/MachineReadings.h"
#include "core/sampling/SampleSource.h"

namespace orvik {

/// The samples of a whole machine: says how often each group of readings is taken and how they
/// make one object. Where the readings come from is for MachineReadings to know.
///
/// Runs on its own strand; its operations may be called from any executor. A sample and an alert
/// sample may be under way together, but never wait twice for the same group.
class SystemSampleSource final : public SampleSource,
                                 public std::enable_shared_from_this<SystemSampleSource> {
 public:
  /// Owned by a std::shared_ptr: what is under way keeps it alive.
  SystemSampleSource(const asio::any_io_executor& executor, std::shared_ptr<Clock> clock,
                     std::shared_ptr<MachineReadings> readings);

  asio::awaitable<std::string> sample() override;
  /// With "mac_info" when asked for and known. It is read once and kept.
  asio::awaitable<std::string> sample(bool withMacInfo) override;
  /// The readings that alerts and the history need, and the time.
  asio::awaitable<std::string> alertSample() override;

 private:
  /// A group of readings that is kept between refreshes.
  struct Group {
    Group(const asio::any_io_executor& executor, Clock::Duration interval)
        : mutex(executor), cadence(interval) {}
    AsyncMutex mutex;
    Cadence cadence;
    JSONObject cached;
  };

  asio::awaitable<std::string> sampleOnStrand(bool withMacInfo);
  asio::awaitable<std::string> alertSampleOnStrand();
  asio::awaitable<JSONObject> sampleFields();
  asio::awaitable<void> readMacInfo();
  asio::awaitable<void> refreshSlow();
  asio::awaitable<void> refreshSlowGroup();
  asio::awaitable<JSONObject> batteryHealth();
  asio::awaitable<void> currentConnections(std::optional<std::string> timeMachineDisk);

  const asio::strand<asio::any_io_executor> strand;
  const std::shared_ptr<Clock> clock;
  const std::shared_ptr<MachineReadings> readings;
  LoadNow loadNow;
  AsyncMutex processorMutex;
  AsyncMutex freshProcessorMutex;
  AsyncMutex batteryMutex;
  AsyncMutex processesMutex;
  Group slow;
  Group connections;
  /// Refreshed as part of the slow group, and more rarely.
  Cadence healthCadence;
  JSONObject health;
  AsyncMutex macInfoMutex;
  JSONObject macInfo;
};

}  // namespace orvik
