#pragma once

#include <string>
#include <vector>

#include "phone/terminal/MacState.h"
#include "phone/terminal/ViewPage.h"

namespace orvik {

/// What is known about the computer as a page for a person: a title line with its name, the state
/// of the connection and the time of the sample, then the readings in groups, with their units. A
/// reading that is absent, null or of a wrong type is left out. No line is wider than `width`
/// columns.
[[nodiscard]] std::vector<ViewLine> sampleView(const MacState& state, int width);

/// The time, the state of the connection and the main readings in one line.
[[nodiscard]] std::string sampleSummary(const MacState& state);

}  // namespace orvik
