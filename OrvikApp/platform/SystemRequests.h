#pragma once

#include <functional>

#include "OrvikApp/QuitDelegate.h"

namespace orvik {

/// Answers whether the application may end, as QuitRequests::answer does.
using QuitAnswer = std::function<TerminateReply(std::function<void()> allow)>;

/// Has the application start in the background, and the system's questions come here. To be called
/// before the toolkit starts, which takes over what it finds.
void prepareForSystem();

/// Sets who answers when a system asks before it ends the application; others only tell. Until then
/// it ends at once. Main thread only.
void answerQuitQuestion(const QuitAnswer& answer);

}  // namespace orvik
