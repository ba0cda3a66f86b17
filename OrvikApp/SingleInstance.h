#pragma once

#include <QLocalServer>
#include <QLockFile>
#include <QObject>
#include <QString>

namespace orvik {

/// Sees to it that a user runs the application once: who comes first listens, who comes later asks
/// the first to show itself, and ends. Main thread only.
class SingleInstance : public QObject {
  Q_OBJECT
 public:
  enum class Standing {
    /// No other runs; this one listens now.
    first,
    /// Another runs and has been asked to show itself.
    later,
    /// Another runs and does not answer.
    unanswered,
  };

  /// `folder` is one that only the user may enter. Blocks for at most a few seconds while another
  /// instance is asked.
  explicit SingleInstance(const QString& folder);

  /// The folder for what lives as long as the user's session.
  [[nodiscard]] static QString sessionFolder();

  [[nodiscard]] Standing standing() const { return found; }

 Q_SIGNALS:
  /// A later instance asks that the first shows itself.
  void showRequested();

 private:
  [[nodiscard]] bool ask(const QString& address) const;
  void listen(const QString& address);

  QLockFile lock;
  QLocalServer server;
  Standing found = Standing::first;
};

}  // namespace orvik
