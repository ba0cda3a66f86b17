#pragma once

#include <functional>
#include <optional>
#include <string>

#include "OrvikApp/QuitRequests.h"

namespace orvik {

/// Answers whether the application may end, as QuitRequests::answer does.
using QuitAnswer = std::function<TerminateReply(std::function<void()> allow)>;

/// What stands in the way of showing windows, as one line for the user; nothing when all is well.
/// To be asked before the toolkit is started, which ends the program when it finds no display.
[[nodiscard]] std::optional<std::string> missingDisplay();

/// Has the application start in the background, and the system's questions come here. To be called
/// before the toolkit starts, which takes over what it finds.
void prepareForSystem();

/// Sets who answers when a system asks before it ends the application; others only tell. Until then
/// it ends at once. Main thread only.
void answerQuitQuestion(const QuitAnswer& answer);

}  // namespace orvik
