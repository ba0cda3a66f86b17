#pragma once

#include <QApplication>
#include <QString>
#include <filesystem>

namespace orvik {

/// A QApplication that draws without a display, alike on every desktop: nothing of the user's
/// theme, scaling or palette reaches it, and it asks no session for anything. One per process, made
/// before anything else of Qt.
class OffscreenApplication {
 public:
  OffscreenApplication();

 private:
  struct Environment {
    Environment();
  };

  Environment environment;
  char name[6] = "orvik";
  char option[10] = "-platform";
  char platform[10] = "offscreen";
  char* arguments[4] = {name, option, platform, nullptr};
  int argumentCount = 3;
  QApplication application;
};

/// Draws a pairing card into a PNG file at two pixels per point, in the texts of `locale` (English
/// when there are none) on the window's background. The code is that of a fresh random pairing,
/// never of this computer's, so the picture can be shown to anybody. A file of that name is
/// replaced. False when anything fails; nothing is printed. Needs a QApplication, and no display
/// when that is an OffscreenApplication.
[[nodiscard]] bool renderPNG(const std::filesystem::path& to, const QString& locale);

}  // namespace orvik
