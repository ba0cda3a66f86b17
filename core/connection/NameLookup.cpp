#include "core/connection/NameLookup.h"

#include <boost/asio/error.hpp>
#include <boost/asio/post.hpp>
#include <boost/asio/redirect_error.hpp>
#include <boost/asio/steady_timer.hpp>
#include <boost/asio/this_coro.hpp>
#include <boost/asio/use_awaitable.hpp>
#include <netdb.h>

#include <cstring>
#include <memory>
#include <mutex>
#include <thread>

namespace orvik {

namespace {

using Endpoints = std::vector<asio::ip::tcp::endpoint>;

struct FreeAddresses {
  void operator()(addrinfo* list) const { freeaddrinfo(list); }
};

/// Shared by the coroutine that waits and the thread that looks up.
struct Lookup {
  std::mutex lock;
  /// Set while somebody waits; cancelled when there is a result.
  asio::steady_timer* waiter = nullptr;
  bool isDone = false;
  boost::system::error_code error;
  Endpoints endpoints;
};

boost::system::error_code errorOf(int result) {
  switch (result) {
    case 0:
      return {};
    case EAI_AGAIN:
      return asio::error::host_not_found_try_again;
    case EAI_MEMORY:
      return asio::error::no_memory;
    default:
      return asio::error::host_not_found;
  }
}

void runLookup(const std::shared_ptr<Lookup>& lookup, const std::string& host,
               const std::string& port) {
  addrinfo hints{};
  hints.ai_socktype = SOCK_STREAM;
  hints.ai_flags = AI_NUMERICSERV;
  addrinfo* rawList = nullptr;
  const int result = getaddrinfo(host.c_str(), port.c_str(), &hints, &rawList);
  const std::unique_ptr<addrinfo, FreeAddresses> list(result == 0 ? rawList : nullptr);

  const std::lock_guard guard(lookup->lock);
  lookup->error = errorOf(result);
  for (const addrinfo* entry = list.get(); entry != nullptr; entry = entry->ai_next) {
    asio::ip::tcp::endpoint endpoint;
    if (entry->ai_addrlen <= endpoint.capacity()) {
      std::memcpy(endpoint.data(), entry->ai_addr, entry->ai_addrlen);
      endpoint.resize(entry->ai_addrlen);
      lookup->endpoints.push_back(endpoint);
    }
  }
  lookup->isDone = true;
  if (lookup->waiter != nullptr) {
    // Under the lock, so that the waiter is still there; it wakes on its own executor, where the
    // timer may be gone by then and is looked up again.
    asio::post(lookup->waiter->get_executor(), [lookup] {
      const std::lock_guard wakeGuard(lookup->lock);
      if (lookup->waiter != nullptr) {
        lookup->waiter->cancel();
      }
    });
  }
}

/// Enters a timer as the one that waits, for as long as this object lives.
class Waiting {
 public:
  Waiting(std::shared_ptr<Lookup> waitedFor, asio::steady_timer& timer)
      : lookup(std::move(waitedFor)) {
    const std::lock_guard guard(lookup->lock);
    lookup->waiter = &timer;
  }
  Waiting(const Waiting&) = delete;
  Waiting& operator=(const Waiting&) = delete;
  ~Waiting() {
    const std::lock_guard guard(lookup->lock);
    lookup->waiter = nullptr;
  }

 private:
  std::shared_ptr<Lookup> lookup;
};

}  // namespace

asio::awaitable<Endpoints> lookUp(std::string host, std::uint16_t port) {
  const asio::any_io_executor executor = co_await asio::this_coro::executor;
  const auto lookup = std::make_shared<Lookup>();
  asio::steady_timer timer(executor, asio::steady_timer::time_point::max());
  const Waiting waiting(lookup, timer);
  std::thread([lookup, host = std::move(host), port = std::to_string(port)] {
    runLookup(lookup, host, port);
  }).detach();

  boost::system::error_code woken;
  co_await timer.async_wait(asio::redirect_error(asio::use_awaitable, woken));
  const std::lock_guard guard(lookup->lock);
  if (!lookup->isDone) {
    throw boost::system::system_error(asio::error::operation_aborted);
  }
  if (lookup->error) {
    throw boost::system::system_error(lookup->error);
  }
  co_return std::move(lookup->endpoints);
}

}  // namespace orvik
