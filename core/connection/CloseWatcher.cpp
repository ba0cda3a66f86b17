#include "core/connection/CloseWatcher.h"

namespace orvik {

std::shared_ptr<CloseSignal> CloseWatcher::watch(int taskIdentifier) {
  auto signal = std::make_shared<CloseSignal>();
  const std::lock_guard guard(lock);
  waiters[taskIdentifier] = signal;
  return signal;
}

void CloseWatcher::didComplete(int taskIdentifier) {
  std::shared_ptr<CloseSignal> signal;
  {
    const std::lock_guard guard(lock);
    const auto waiter = waiters.find(taskIdentifier);
    if (waiter == waiters.end()) {
      return;
    }
    signal = std::move(waiter->second);
    waiters.erase(waiter);
  }
  signal->fire();
}

}  // namespace orvik
