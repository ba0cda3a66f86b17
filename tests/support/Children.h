#pragma once

#include <sys/wait.h>

#include <cerrno>

namespace orvik::test {

/// Whether this process has children, running or not waited for. Leaves them as they are.
inline bool hasChildren() {
  siginfo_t info{};
  return waitid(P_ALL, 0, &info, WEXITED | WNOHANG | WNOWAIT) == 0 || errno != ECHILD;
}

}  // namespace orvik::test
