#pragma once

#include <QObject>
#include <QTimer>
#include <chrono>
#include <functional>

namespace orvik {

enum class TerminateReply { now, later };

/// Answers whether the application may end. Keeps no state. Main thread only.
struct QuitDelegate {
  /// `now` when there is no relay to say goodbye to. Otherwise says goodbye and answers `later`:
  /// `terminate` is called on the main thread once that is done.
  [[nodiscard]] static TerminateReply applicationShouldTerminate(std::function<void()> terminate);
};

/// Takes every request to end the application, asks the quit delegate, and ends the event loop when
/// it allows. While a goodbye is under way, further requests neither start another one nor cut it
/// short. Main thread only; made after the QGuiApplication, whose quit events and end of session it
/// takes over.
class QuitRequests final : public QObject {
  Q_OBJECT

 public:
  struct Times {
    /// How long the end of a session is held up. A goodbye takes at most 2 s.
    std::chrono::milliseconds sessionHold{3000};
    /// A session that is still there so long after its end was announced goes on: somebody has
    /// called the end off, or the session was only saved.
    std::chrono::milliseconds sessionGoesOn{30'000};
  };

  /// `terminate` ends the application's event loop.
  explicit QuitRequests(std::function<void()> terminate) : QuitRequests(std::move(terminate), {}) {}
  QuitRequests(std::function<void()> terminate, Times times);

  /// What "Quit", a quit event of the system and a termination signal do: returns at once, the
  /// application ends when the relay knows.
  void requestQuit();

  /// Answers a system that asks whether the application may end. `allow` is called after `later`.
  [[nodiscard]] TerminateReply answer(std::function<void()> allow);

  /// What the end of a session does: returns when the relay knows, or after `sessionHold`. When
  /// the session goes on after all, the application does so too.
  void prepareForSessionEnd();

  bool eventFilter(QObject* watched, QEvent* event) override;

 Q_SIGNALS:
  void goodbyeEnded();

 private:
  /// Whether a goodbye is under way now.
  bool sayGoodbye();
  void endGoodbye();
  void goOn() const;

  const std::function<void()> terminate;
  const Times times;
  /// What a system waits for that has asked; empty where none has.
  std::function<void()> allow;
  bool isQuitting = false;
  bool isSayingGoodbye = false;
  QTimer sessionGoesOn;
};

}  // namespace orvik
