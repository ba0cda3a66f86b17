#include "OrvikApp/platform/Conventions.h"

#include "OrvikApp/Texts.h"

namespace orvik::conventions {

QString scanInstruction(const Texts& texts) {
  return texts.text("Point your phone’s camera at this code.");
}

QString openAtStart(const Texts& texts) {
  return texts.text("Open Orvik when the computer starts");
}

// Styles give them down to 1.9 : 1.
bool areDisabledEntriesReadable() { return false; }

// A keyring may be locked or away for long.
bool hasPairingBoxes() { return true; }

}  // namespace orvik::conventions
