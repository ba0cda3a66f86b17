#include "core/async/OneShotEvent.h"

#include <boost/asio/any_io_executor.hpp>
#include <boost/asio/execution/context.hpp>
#include <boost/asio/execution_context.hpp>
#include <boost/asio/post.hpp>
#include <boost/asio/this_coro.hpp>

#include <functional>
#include <mutex>
#include <utility>

#include "core/async/Notifier.h"

namespace orvik {

namespace {

/// Whether a context still takes handlers, and the lock under which threads give it some.
struct Entrance {
  std::mutex lock;
  bool isOpen = true;
};

/// A context's entrance. Closed before the context destroys its handlers, since it does that
/// without a lock: nothing may be posted to it from then on.
class EntranceService final : public asio::execution_context::service {
 public:
  using key_type = EntranceService;
  static inline asio::execution_context::id id;

  explicit EntranceService(asio::execution_context& context) : service(context) {}

  const std::shared_ptr<Entrance> entrance = std::make_shared<Entrance>();

 private:
  void shutdown() override {
    const std::lock_guard guard(entrance->lock);
    entrance->isOpen = false;
  }
};

std::shared_ptr<Entrance> entranceTo(const asio::any_io_executor& executor) {
  asio::execution_context& context = asio::query(executor, asio::execution::context);
  return asio::use_service<EntranceService>(context).entrance;
}

}  // namespace

/// What the coroutine that waits keeps in its frame.
struct OneShotEvent::Waiter {
  explicit Waiter(const asio::any_io_executor& executor)
      : executor(executor), entrance(entranceTo(executor)), changed(executor) {}

  const asio::any_io_executor executor;
  const std::shared_ptr<Entrance> entrance;
  Notifier changed;
  bool isWoken = false;
};

struct OneShotEvent::State {
  std::mutex lock;
  bool isSet = false;
  /// Used under the lock, also by threads. Null while nobody waits.
  Waiter* waiter = nullptr;

  void enter(Waiter& entering) {
    const std::lock_guard guard(lock);
    entering.isWoken = isSet;
    waiter = &entering;
  }
  void leave() {
    const std::lock_guard guard(lock);
    waiter = nullptr;
  }
  /// On the waiter's executor, if it still waits when this arrives.
  void wake() {
    const std::lock_guard guard(lock);
    if (waiter != nullptr) {
      waiter->isWoken = true;
      waiter->changed.notify();
    }
  }
};

OneShotEvent::OneShotEvent() : state(std::make_shared<State>()) {}

void OneShotEvent::set() const noexcept {
  const std::lock_guard guard(state->lock);
  state->isSet = true;
  if (state->waiter == nullptr) {
    return;
  }
  const std::lock_guard entering(state->waiter->entrance->lock);
  if (state->waiter->entrance->isOpen) {
    try {
      asio::post(state->waiter->executor, [state = state] { state->wake(); });
    } catch (const std::bad_alloc&) {
      // Whoever has set a time limit goes on when that is over.
    }
  }
}

asio::awaitable<void> OneShotEvent::wait() const {
  struct Waiting {
    std::shared_ptr<State> state;
    Waiting(std::shared_ptr<State> awaited, Waiter& waiter) : state(std::move(awaited)) {
      state->enter(waiter);
    }
    Waiting(const Waiting&) = delete;
    Waiting& operator=(const Waiting&) = delete;
    ~Waiting() { state->leave(); }
  };
  const std::shared_ptr<State> awaited = state;
  const asio::any_io_executor executor = co_await asio::this_coro::executor;
  Waiter waiter(executor);
  const Waiting waiting(awaited, waiter);
  const std::function<bool()> condition = [&waiter] { return waiter.isWoken; };
  co_await waiter.changed.until(condition);
}

}  // namespace orvik
