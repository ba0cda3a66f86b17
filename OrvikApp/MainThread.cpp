#include "OrvikApp/MainThread.h"

#include <QCoreApplication>
#include <QMetaObject>
#include <utility>

namespace orvik {

void onMainThread(std::function<void()> action) {
  QMetaObject::invokeMethod(QCoreApplication::instance(), std::move(action), Qt::QueuedConnection);
}

}  // namespace orvik
