#include "core/system/CoreDump.h"

#include <sys/prctl.h>
#include <sys/resource.h>

namespace orvik {

void forbidCoreDumps() noexcept {
  // Both: a service that collects dumps is handed one whatever the limit says, and looks at the
  // limit by itself; and what is not dumpable cannot be traced. Neither fails for lowering.
  constexpr rlimit none{0, 0};
  setrlimit(RLIMIT_CORE, &none);
  prctl(PR_SET_DUMPABLE, 0);
}

}  // namespace orvik
