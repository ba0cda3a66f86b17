#include "relay/Signals.h"

#include <pthread.h>

#include <csignal>

namespace orvik::relay {

void blockSignals() {
  sigset_t all;
  sigfillset(&all);
  pthread_sigmask(SIG_BLOCK, &all, nullptr);
}

}  // namespace orvik::relay
