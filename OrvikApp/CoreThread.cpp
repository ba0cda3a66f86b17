#include "OrvikApp/CoreThread.h"

namespace orvik {

CoreThread::CoreThread() : thread([this] { context.run(); }) {}

CoreThread::~CoreThread() {
  context.stop();
  thread.join();
}

}  // namespace orvik
