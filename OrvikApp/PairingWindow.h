#pragma once

#include <QMenuBar>
#include <QWidget>

#include "OrvikApp/PairingCard.h"

namespace orvik {

class AppModel;
class StatusMenu;
class Texts;

/// The window that shows the code of the present pairing. Made once and hidden when closed. On a
/// desktop that has no place for the menu-bar icon it holds the menu too, and closing only
/// minimises it: the application is never out of reach. Main thread only.
class PairingWindow : public QWidget {
  Q_OBJECT
 public:
  /// Everything outlives the window, which is not shown yet.
  PairingWindow(AppModel& model, StatusMenu& menu, const Texts& texts);

  /// Shows the window with the code, and brings it to the front.
  void present();

  /// Shows the window with the menu, when nobody has asked for the code: that waits for a click. A
  /// code that is shown already stays.
  void presentMenu();

  /// Whether the menu is in the window and nowhere else. One that was opened for its menu alone, or
  /// put away as far as that was possible, goes when the menu is elsewhere.
  void setHoldsMenu(bool holds);

 Q_SIGNALS:
  /// The user asks for the code, and there is none yet.
  void codeWanted();

 protected:
  void closeEvent(QCloseEvent* event) override;
  void changeEvent(QEvent* event) override;

 private:
  AppModel& model;
  PairingCard card;
  QMenuBar menuBar;
  bool holdsMenu = false;
};

}  // namespace orvik
