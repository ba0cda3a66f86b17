#pragma once

#include <QDBusServiceWatcher>
#include <QObject>
#include <functional>

#include "OrvikApp/platform/TrayHost.h"

namespace orvik {

/// A panel on the session bus, or one of the older kind on the X display.
///
/// The toolkit looks for a panel on the bus once, when the first icon is made, and never again: so
/// no icon may be made before a panel has told the watcher of items that it is there, which after a
/// login may take a while.
class DesktopTrayHost final : public QObject, public TrayHost {
  Q_OBJECT
 public:
  explicit DesktopTrayHost(std::function<void(bool isPresent)> changed);

  [[nodiscard]] bool isPresent() const override { return hasHost || isEmbedding; }

 private Q_SLOTS:
  void ask();

 private:
  void watch(const QString& signal);
  void set(bool isThere);

  const std::function<void(bool isPresent)> changed;
  QDBusServiceWatcher owners;
  bool hasHost = false;
  const bool isEmbedding;
};

}  // namespace orvik
