#pragma once

#include <boost/asio/strand.hpp>

#include <memory>

#include "core/async/Clock.h"
#include "core/sampling/LoadNow.h"
#include "core/sampling/MachineReadings.h"
#include "core/sampling/ReadingGroup.h"
#include "core/sampling/SampleSource.h"

namespace orvik {

/// The samples of a whole machine: says how often each group of readings is taken and how they
/// make one object. Where the readings come from is for MachineReadings to know.
///
/// Runs on its own strand; its operations may be called from any executor. No group of readings
/// holds up the others: they are read side by side, and one that does not come in time is in the
/// sample as it was last, or absent. A sample and an alert sample that are under way together share
/// what they read.
class SystemSampleSource final : public SampleSource,
                                 public std::enable_shared_from_this<SystemSampleSource> {
 public:
  /// Owned by a std::shared_ptr: what is under way keeps it alive.
  SystemSampleSource(const asio::any_io_executor& executor, const std::shared_ptr<Clock>& clock,
                     const std::shared_ptr<MachineReadings>& readings);
  SystemSampleSource(const SystemSampleSource&) = delete;
  SystemSampleSource& operator=(const SystemSampleSource&) = delete;
  /// Ends what is still being read.
  ~SystemSampleSource() override;

  asio::awaitable<std::string> sample() override;
  /// With "mac_info" when asked for and known. It is read once and kept.
  asio::awaitable<std::string> sample(bool withMacInfo) override;
  /// The readings that alerts and the history need, and the time.
  asio::awaitable<std::string> alertSample() override;

 private:
  struct Groups;

  asio::awaitable<std::string> sampleOnStrand(bool withMacInfo);
  asio::awaitable<std::string> alertSampleOnStrand();
  asio::awaitable<JSONObject> sampleFields();
  void refreshSlow();
  asio::awaitable<JSONObject> slow();
  asio::awaitable<JSONObject> currentConnections(const JSONObject& fields);
  asio::awaitable<JSONValue> batteryEstimate();

  const asio::strand<asio::any_io_executor> strand;
  const std::shared_ptr<Clock> clock;
  const std::shared_ptr<MachineReadings> readings;
  const std::shared_ptr<Groups> groups;
  LoadNow loadNow;
};

}  // namespace orvik
