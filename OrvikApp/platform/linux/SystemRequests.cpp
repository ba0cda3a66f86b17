#include "OrvikApp/platform/SystemRequests.h"

namespace orvik {

void prepareForSystem() {}

// A desktop tells of the end of a session, and waits.
void answerQuitQuestion(const QuitAnswer& /*answer*/) {}

}  // namespace orvik
