#pragma once

#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "core/alerts/AlertEngine.h"
#include "core/async/Clock.h"
#include "core/system/FileOperations.h"
#include "core/system/UserDefaults.h"

namespace orvik {

/// Keeps the alert engine between runs. Nothing fails here: what cannot be read counts as never
/// stored, and a save that fails leaves what was stored before. At worst an alert comes twice, or a
/// change that happened meanwhile is not told.
/// Saving waits until some hundred bytes have reached the disk. Not to be called concurrently,
/// except for `writeBehind`.
struct AlertStateStore {
  std::function<std::optional<AlertEngine>()> load;
  std::function<void(const AlertEngine&)> save;

  /// Never has anything.
  [[nodiscard]] static AlertStateStore memory();

  /// Under a key of the user's preferences: those of the suite, or the application's own when there
  /// is no suite or it cannot be opened.
  [[nodiscard]] static AlertStateStore userDefaults(std::optional<std::string> suite,
                                                    std::string key,
                                                    UserDefaultsOpener open = openUserDefaults);

  /// Keeps the newest state in memory and writes it to `store`, on a thread of its own: at once
  /// when an alert was raised, cleared or armed again, at the end of its last copy, which waits for
  /// that, and otherwise at most every 10 minutes, since a disk that is written to every half
  /// minute never sleeps.
  [[nodiscard]] static AlertStateStore writeBehind(AlertStateStore store,
                                                   std::shared_ptr<Clock> clock);

  /// A file of its own, in a folder that exists, replaced as a whole.
  [[nodiscard]] static AlertStateStore file(
      std::filesystem::path path,
      std::shared_ptr<FileOperations> operations = std::make_shared<FileOperations>());
};

}  // namespace orvik
