#include "OrvikApp/platform/Conventions.h"

#include "OrvikApp/Texts.h"

namespace orvik::conventions {

QString scanInstruction(const Texts& texts) {
  return texts.text("Open Orvik on Android and point it at this code.");
}

QString openAtStart(const Texts& texts) { return texts.text("Open Orvik when the Mac starts"); }

bool areDisabledEntriesReadable() { return true; }

// The keychain is there from the login on.
bool hasPairingBoxes() { return false; }

}  // namespace orvik::conventions
