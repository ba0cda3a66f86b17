#include "core/system/CoreDump.h"

#include <sys/resource.h>

namespace orvik {

void forbidCoreDumps() noexcept {
  // A crash report of the system has stacks and registers, no memory. Who may read the memory of a
  // running program is decided by its signature: the hardened runtime refuses it to all.
  constexpr rlimit none{0, 0};
  setrlimit(RLIMIT_CORE, &none);
}

}  // namespace orvik
