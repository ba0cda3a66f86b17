#pragma once

#include <QString>

namespace orvik {

class Texts;

/// What is said and done differently on different systems.
namespace conventions {

/// What to do with the code that the pairing card shows.
[[nodiscard]] QString scanInstruction(const Texts& texts);

/// What the switch for starting at login says.
[[nodiscard]] QString openAtStart(const Texts& texts);

/// Whether an entry that cannot be clicked is readable in this system's menus. Where it is not, one
/// that has to be read looks like the others and does nothing.
[[nodiscard]] bool areDisabledEntriesReadable();

/// Whether boxes say that a pairing could not be kept, and offer to replace one that the relay
/// refuses. Where they do not, "Disconnect all phones" is the way.
[[nodiscard]] bool hasPairingBoxes();

}  // namespace conventions
}  // namespace orvik
