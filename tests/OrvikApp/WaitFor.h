#pragma once

#include <gtest/gtest.h>

#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QEventLoop>
#include <QThread>
#include <functional>

namespace orvik::test {

/// Runs the event loop until the condition holds; fails the test when it takes too long.
inline void waitFor(const std::function<bool()>& condition) {
  const QDeadlineTimer limit(20'000);
  while (!condition()) {
    ASSERT_FALSE(limit.hasExpired()) << "waited in vain";
    QCoreApplication::processEvents(QEventLoop::AllEvents, 10);
    QThread::msleep(1);
  }
}

}  // namespace orvik::test
