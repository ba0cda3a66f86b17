#pragma once

#include <functional>
#include <memory>

namespace orvik {

/// Tells whether the desktop has a place where a menu-bar icon can be shown. Main thread only.
class TrayHost {
 public:
  virtual ~TrayHost() = default;

  /// As known by now; to be asked before any icon is made.
  [[nodiscard]] virtual bool isPresent() const = 0;
};

/// Watches this desktop's. `changed` is called when a place appears or goes away, not at the start.
/// Never null.
[[nodiscard]] std::unique_ptr<TrayHost> watchTrayHost(std::function<void(bool isPresent)> changed);

}  // namespace orvik
