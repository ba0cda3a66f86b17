#include "OrvikApp/TerminationSignals.h"

#include <boost/asio/awaitable.hpp>
#include <boost/asio/co_spawn.hpp>
#include <boost/asio/detached.hpp>
#include <boost/asio/signal_set.hpp>
#include <boost/asio/use_awaitable.hpp>

#include <csignal>
#include <memory>
#include <utility>

#include "OrvikApp/CoreThread.h"

namespace orvik {

namespace {

bool isIgnored(int number) {
  struct sigaction present {};
  return sigaction(number, nullptr, &present) == 0 && present.sa_handler == SIG_IGN;
}

asio::awaitable<void> watch(std::shared_ptr<asio::signal_set> signals,
                            std::function<void()> action) {
  for (;;) {
    co_await signals->async_wait(asio::use_awaitable);
    onMainThread(action);
  }
}

}  // namespace

void onTerminationSignal(const asio::any_io_executor& executor, std::function<void()> action) {
  const auto signals = std::make_shared<asio::signal_set>(executor);
  for (const int number : {SIGTERM, SIGINT, SIGHUP}) {
    if (!isIgnored(number)) {
      signals->add(number);
    }
  }
  asio::co_spawn(executor, watch(signals, std::move(action)), asio::detached);
}

}  // namespace orvik
