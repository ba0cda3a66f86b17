#include "OrvikApp/QuitRequests.h"

#include <QEvent>
#include <QEventLoop>
#include <QGuiApplication>
#include <QPointer>
#include <QSessionManager>
#include <utility>

#include "OrvikApp/AppModel.h"

namespace orvik {

TerminateReply QuitDelegate::applicationShouldTerminate(std::function<void()> terminate) {
  AppModel* const model = AppModel::current();
  const bool isLeaving = model != nullptr && model->sayGoodbye(std::move(terminate));
  return isLeaving ? TerminateReply::later : TerminateReply::now;
}

QuitRequests::QuitRequests(std::function<void()> terminate, Times times)
    : terminate(std::move(terminate)), times(times) {
  qGuiApp->installEventFilter(this);
  connect(
      qGuiApp, &QGuiApplication::commitDataRequest, this,
      [this](QSessionManager& session) {
        // The login item starts the application again, not the restored session.
        session.setRestartHint(QSessionManager::RestartNever);
        prepareForSessionEnd();
      },
      Qt::DirectConnection);
  sessionGoesOn.setSingleShot(true);
  connect(&sessionGoesOn, &QTimer::timeout, this, &QuitRequests::goOn);
}

void QuitRequests::requestQuit() {
  isQuitting = true;
  if (!sayGoodbye()) {
    terminate();
  }
}

TerminateReply QuitRequests::answer(std::function<void()> whenAllowed) {
  allow = std::move(whenAllowed);
  isQuitting = true;
  return sayGoodbye() ? TerminateReply::later : TerminateReply::now;
}

void QuitRequests::prepareForSessionEnd() {
  if (sayGoodbye()) {
    QEventLoop loop;
    connect(this, &QuitRequests::goodbyeEnded, &loop, &QEventLoop::quit);
    QTimer::singleShot(times.sessionHold, &loop, &QEventLoop::quit);
    loop.exec(QEventLoop::ExcludeUserInputEvents);
  }
  sessionGoesOn.start(times.sessionGoesOn);
}

bool QuitRequests::eventFilter(QObject* watched, QEvent* event) {
  if (watched != qGuiApp || event->type() != QEvent::Quit) {
    return false;
  }
  // Never refused: it would count as a wish of the application's to go on.
  event->accept();
  requestQuit();
  return true;
}

bool QuitRequests::sayGoodbye() {
  if (!isSayingGoodbye) {
    isSayingGoodbye = true;
    const TerminateReply reply = QuitDelegate::applicationShouldTerminate([self = QPointer(this)] {
      if (self) {
        self->endGoodbye();
      }
    });
    isSayingGoodbye = isSayingGoodbye && reply == TerminateReply::later;
  }
  return isSayingGoodbye;
}

void QuitRequests::endGoodbye() {
  isSayingGoodbye = false;
  Q_EMIT goodbyeEnded();
  if (isQuitting) {
    terminate();
  }
  if (const auto waiting = std::exchange(allow, nullptr)) {
    waiting();
  }
}

void QuitRequests::goOn() const {
  AppModel* const model = AppModel::current();
  if (!isQuitting && model != nullptr) {
    model->connect();
  }
}

}  // namespace orvik
