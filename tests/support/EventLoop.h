#pragma once

#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QTimer>

namespace orvik::test {

/// Lets Qt's event loop run until something is so. False when it is not within 20 seconds, which
/// is far more than any step takes.
template <typename Condition>
[[nodiscard]] bool eventually(Condition condition) {
  QTimer wakeUp;
  wakeUp.start(std::chrono::milliseconds(10));
  for (const QDeadlineTimer limit(std::chrono::seconds(20)); !condition();) {
    if (limit.hasExpired()) {
      return false;
    }
    QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
  }
  return true;
}

}  // namespace orvik::test
