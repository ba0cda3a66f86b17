#pragma once

#include <map>
#include <memory>
#include <mutex>

#include "core/connection/CloseSignal.h"
#include "core/connection/WebSocketTask.h"

namespace orvik {

/// Passes on the end of a WebSocket task to the one who waits for it, if anybody does. All
/// operations may be called from any thread.
class CloseWatcher final : public WebSocketObserver {
 public:
  /// From now on the end of this task fires the returned signal, once.
  [[nodiscard]] std::shared_ptr<CloseSignal> watch(int taskIdentifier);

  void didComplete(int taskIdentifier) override;

 private:
  std::mutex lock;
  std::map<int, std::shared_ptr<CloseSignal>> waiters;
};

}  // namespace orvik
