#pragma once

#include <memory>

namespace orvik {

class Texts;

/// Looks for new versions of the application. Main thread only.
class Updater {
 public:
  virtual ~Updater() = default;

  /// The check that the user asks for: shows its own dialogs, whatever the outcome. While one is
  /// under way another call does nothing more than bring it to the front.
  virtual void checkForUpdates() = 0;
};

/// The updater of this system, started. `texts` must outlive it. Never null.
[[nodiscard]] std::unique_ptr<Updater> startUpdater(const Texts& texts);

}  // namespace orvik
