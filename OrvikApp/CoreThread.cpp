#include "OrvikApp/CoreThread.h"

#include <QCoreApplication>
#include <QMetaObject>
#include <utility>

namespace orvik {

CoreThread::CoreThread() : thread([this] { context.run(); }) {}

CoreThread::~CoreThread() {
  context.stop();
  thread.join();
}

void onMainThread(std::function<void()> action) {
  QMetaObject::invokeMethod(QCoreApplication::instance(), std::move(action), Qt::QueuedConnection);
}

}  // namespace orvik
