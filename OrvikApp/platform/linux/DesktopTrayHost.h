#pragma once

#include <QDBusServiceWatcher>
#include <QObject>
#include <QTimer>
#include <functional>
#include <optional>

#include "OrvikApp/platform/TrayHost.h"
#include "OrvikApp/platform/linux/EmbeddingTray.h"

namespace orvik {

/// A panel on the session bus, or one of the older kind on the X display.
///
/// The toolkit looks for a panel on the bus once, when the first icon is made, and never again: so
/// no icon may be made before a panel has told the watcher of items that it is there, which after a
/// login may take a while. One of the older kind counts at once only where there is no watcher.
/// Once there is an icon, only a panel of its kind can show it.
class DesktopTrayHost final : public QObject, public TrayHost {
  Q_OBJECT
 public:
  explicit DesktopTrayHost(std::function<void(bool isPresent)> changed);

  [[nodiscard]] bool isPresent() const override;

 private Q_SLOTS:
  void ask();

 private:
  void watch(const QString& signal);
  void set(bool& fact, bool value);

  const std::function<void(bool isPresent)> changed;
  QDBusServiceWatcher owners;
  EmbeddingTray embedding;
  QTimer expectation;
  bool hasHost = false;
  bool hasEmbedding;
  /// A panel on the bus may still come and would be the better one.
  bool expectsHost = true;
  /// Whether the icon is one on the bus; nothing while there is no icon.
  std::optional<bool> isOnBus;
};

}  // namespace orvik
