#pragma once

#include <functional>

namespace orvik {

/// Calls `action` on the main thread, from its event loop, after what was handed over before it.
/// May be called from any thread while the QCoreApplication lives; what is still waiting when that
/// ends is dropped.
void onMainThread(std::function<void()> action);

}  // namespace orvik
