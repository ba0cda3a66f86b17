#pragma once

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QDBusServiceWatcher>
#include <QObject>
#include <memory>
#include <vector>

#include "OrvikApp/platform/PowerEvents.h"
#include "core/system/FileDescriptor.h"

namespace orvik {

/// Sleep and wake as systemd-logind, or a service like it, announces them on the system bus. While
/// the machine is awake it keeps an inhibitor lock of the kind "delay", so that logind waits, 5 s
/// unless set otherwise, for those that have something to finish before the machine sleeps.
/// Nothing here waits for a reply. Where no such service runs it never tells; one that starts
/// later, or anew, is noticed.
class LogindPowerEvents final : public QObject, public PowerEvents {
  Q_OBJECT

 public:
  explicit LogindPowerEvents(const QDBusConnection& bus);

  [[nodiscard]] Observer onWillSleep(std::function<void(const SleepHold&)> action) override;
  [[nodiscard]] Observer onDidWake(std::function<void()> action) override;

 private Q_SLOTS:
  /// logind's announcement: true before sleep, false after it.
  void prepareForSleep(bool isBeginning, const QDBusMessage& announcement);
  void changeOwner(const QString& service, const QString& before, const QString& now);

 private:
  void takeLock();
  void keepLock(QDBusPendingCallWatcher* finished);
  void tellSleep();
  void tellWake();

  QDBusConnection bus;
  QDBusServiceWatcher serviceWatcher;
  /// The bus's own name for the one that is logind now; empty where there is none. Anybody on the
  /// bus can send a signal that looks like its.
  QString logind;
  /// The lock that has been asked for. Letting go of it drops the reply, and the lock with it.
  std::unique_ptr<QDBusPendingCallWatcher> asking;
  FileDescriptor lock;
  bool isAsleep = false;
  std::vector<std::shared_ptr<std::function<void(const SleepHold&)>>> sleepObservers;
  std::vector<std::shared_ptr<std::function<void()>>> wakeObservers;
};

}  // namespace orvik
