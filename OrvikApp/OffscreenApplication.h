#pragma once

#include <QApplication>

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

}  // namespace orvik
