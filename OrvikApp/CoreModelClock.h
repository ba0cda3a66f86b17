#pragma once

#include <boost/asio/any_io_executor.hpp>

#include "OrvikApp/ModelClock.h"

namespace orvik {

namespace asio = boost::asio;

/// The model's time from the core's clock: waits on the core's thread, acts on the main thread.
class CoreModelClock final : public ModelClock {
 public:
  /// `executor` is the core thread's and must outlive this object and its tasks.
  CoreModelClock(asio::any_io_executor executor, std::shared_ptr<Clock> clock);

  [[nodiscard]] Clock::UnixTime now() const override { return clock->unixNow(); }
  [[nodiscard]] std::shared_ptr<Task> after(Clock::Duration duration,
                                            std::function<void()> action) override;

 private:
  class Alarm;

  const asio::any_io_executor executor;
  const std::shared_ptr<Clock> clock;
};

}  // namespace orvik
