#include "OrvikApp/SingleInstance.h"

#include <QDeadlineTimer>
#include <QDir>
#include <QLocalSocket>
#include <QStandardPaths>
#include <QThread>
#include <chrono>

#include "core/BuildConstants.h"

namespace orvik {

namespace {

using namespace std::chrono_literals;

/// The first may still be starting, or be busy.
constexpr auto answerTimeout = 5s;
constexpr auto betweenAttempts = 50ms;

QString inFolder(const QString& folder, const char* suffix) {
  return QDir(folder).filePath(QString::fromUtf8(build::applicationId) +
                               QString::fromLatin1(suffix));
}

}  // namespace

QString SingleInstance::sessionFolder() {
  const QString folder = QStandardPaths::writableLocation(QStandardPaths::RuntimeLocation);
  return folder.isEmpty() ? QDir::homePath() : folder;
}

SingleInstance::SingleInstance(const QString& folder) : lock(inFolder(folder, ".lock")) {
  const QString address = inFolder(folder, ".socket");
  // Age says nothing about a program that runs for months; whether it runs does.
  lock.setStaleLockTime(0);
  if (!lock.tryLock() && lock.error() == QLockFile::LockFailedError) {
    found = ask(address) ? Standing::later : Standing::unanswered;
    return;
  }
  // Without a place for the lock the application runs all the same.
  listen(address);
}

bool SingleInstance::ask(const QString& address) const {
  const QDeadlineTimer deadline(answerTimeout);
  while (!deadline.hasExpired()) {
    QLocalSocket socket;
    socket.connectToServer(address);
    // The first answers by hanging up.
    if (socket.waitForConnected(static_cast<int>(deadline.remainingTime())) &&
        (socket.state() == QLocalSocket::UnconnectedState ||
         socket.waitForDisconnected(static_cast<int>(deadline.remainingTime())))) {
      return true;
    }
    QThread::msleep(static_cast<unsigned long>(betweenAttempts.count()));
  }
  return false;
}

void SingleInstance::listen(const QString& address) {
  server.setSocketOptions(QLocalServer::UserAccessOption);
  // What an instance that crashed has left.
  QLocalServer::removeServer(address);
  connect(&server, &QLocalServer::newConnection, this, [this] {
    while (auto* asking = server.nextPendingConnection()) {
      asking->disconnectFromServer();
      asking->deleteLater();
      Q_EMIT showRequested();
    }
  });
  server.listen(address);
}

}  // namespace orvik
