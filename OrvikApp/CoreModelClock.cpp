#include "OrvikApp/CoreModelClock.h"

#include <boost/asio/bind_cancellation_slot.hpp>
#include <boost/asio/cancellation_signal.hpp>
#include <boost/asio/co_spawn.hpp>
#include <boost/asio/post.hpp>

#include <utility>

#include "OrvikApp/CoreThread.h"

namespace orvik {

/// Kept alive by its own waiting.
class CoreModelClock::Alarm final : public Task, public std::enable_shared_from_this<Alarm> {
 public:
  Alarm(asio::any_io_executor executor, std::function<void()> action)
      : executor(std::move(executor)), action(std::move(action)) {}

  void set(std::shared_ptr<Clock> clock, Instant deadline) {
    asio::post(executor, [self = shared_from_this(), clock = std::move(clock), deadline] {
      asio::co_spawn(self->executor, clock->sleepUntil(deadline),
                     asio::bind_cancellation_slot(self->cancellation.slot(),
                                                  [self, clock](const std::exception_ptr&) {
                                                    self->isOver = true;
                                                    onMainThread([self] { self->act(); });
                                                  }));
    });
  }

  void cancel() override {
    action = nullptr;
    asio::post(executor, [self = shared_from_this()] {
      if (!self->isOver) {
        self->cancellation.emit(asio::cancellation_type::terminal);
      }
    });
  }

 private:
  void act() {
    if (const auto due = std::exchange(action, nullptr)) {
      due();
    }
  }

  const asio::any_io_executor executor;
  /// Main thread only; empty once it was cancelled or has been called.
  std::function<void()> action;
  /// Core thread only.
  asio::cancellation_signal cancellation;
  bool isOver = false;
};

CoreModelClock::CoreModelClock(asio::any_io_executor executor, std::shared_ptr<Clock> clock)
    : executor(std::move(executor)), clock(std::move(clock)) {}

std::shared_ptr<ModelClock::Task> CoreModelClock::after(Clock::Duration duration,
                                                        std::function<void()> action) {
  auto alarm = std::make_shared<Alarm>(executor, std::move(action));
  alarm->set(clock, clock->now() + duration);
  return alarm;
}

}  // namespace orvik
