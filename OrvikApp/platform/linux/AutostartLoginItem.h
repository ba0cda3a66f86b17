#pragma once

#include <QString>
#include <filesystem>

#include "OrvikApp/platform/LoginItem.h"

namespace orvik {

/// An entry in the user's autostart folder, as the Desktop Application Autostart rules of
/// freedesktop.org have it. It takes the place of a file of the same name that administrators or
/// packages have put into theirs. What others have written into it stays.
class AutostartLoginItem final : public LoginItem {
 public:
  /// `program` is the absolute path of what is started.
  explicit AutostartLoginItem(QString program);

  /// Enabled when the desktop starts what the entry says: not when the user has switched it off,
  /// nor when the program is no longer there.
  [[nodiscard]] Status status() const override;
  bool setRegistered(bool registered) override;

 private:
  [[nodiscard]] bool enable() const;
  [[nodiscard]] bool hide() const;

  const QString program;
  /// The user's own entry. Empty without a home.
  const std::filesystem::path file;
};

}  // namespace orvik
