#pragma once

namespace orvik {

/// Keeps what is in this program's memory out of files: from here on no crash leaves an image of
/// it, and on Linux no other program of the same user can read it either. Children that run another
/// program inherit only that they leave no image. For the start of every program that holds keys,
/// while it has one thread.
void forbidCoreDumps() noexcept;

}  // namespace orvik
