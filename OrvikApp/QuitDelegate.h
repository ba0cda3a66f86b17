#pragma once

#include <functional>

namespace orvik {

enum class TerminateReply { now, later };

/// Answers whether the application may end. Keeps no state. Main thread only.
struct QuitDelegate {
  /// `now` when there is no relay to say goodbye to. Otherwise says goodbye and answers `later`:
  /// `terminate` is called on the main thread once that is done.
  [[nodiscard]] static TerminateReply applicationShouldTerminate(std::function<void()> terminate);
};

}  // namespace orvik
