#pragma once

namespace orvik {

/// Runs the menu-bar application until it is quit, and returns the process's exit status.
[[nodiscard]] int runApplication(int argc, char** argv);

}  // namespace orvik
