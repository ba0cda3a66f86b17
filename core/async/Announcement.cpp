#include "core/async/Announcement.h"

#include <boost/asio/execution/context.hpp>
#include <boost/asio/execution_context.hpp>
#include <boost/asio/post.hpp>

#include <functional>
#include <mutex>
#include <utility>

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

/// What the thread and the coroutine share.
struct Announcement::Connection {
  const std::shared_ptr<Entrance> entrance;
  /// Null once it is gone. Like its executor, used under the entrance's lock.
  Announcement* announcement;

  /// On the executor: the coroutine may have gone while this was on its way.
  void deliver() {
    const std::lock_guard guard(entrance->lock);
    if (announcement != nullptr) {
      announcement->isHeard = true;
      announcement->changed.notify();
    }
  }
};

Announcement::Announcer::Announcer(std::shared_ptr<Connection> connection)
    : connection(std::move(connection)) {}

void Announcement::Announcer::announce() const {
  const std::lock_guard guard(connection->entrance->lock);
  if (connection->announcement != nullptr && connection->entrance->isOpen) {
    asio::post(connection->announcement->executor,
               [connection = connection] { connection->deliver(); });
  }
}

Announcement::Announcement(const asio::any_io_executor& executor)
    : executor(executor),
      connection(std::make_shared<Connection>(Connection{entranceTo(executor), this})),
      changed(executor) {}

Announcement::~Announcement() {
  const std::lock_guard guard(connection->entrance->lock);
  connection->announcement = nullptr;
}

Announcement::Announcer Announcement::announcer() const { return Announcer(connection); }

asio::awaitable<void> Announcement::heard() {
  const std::function<bool()> condition = [this] { return isHeard; };
  co_await changed.until(condition);
}

}  // namespace orvik
