#pragma once

#include <QMessageBox>
#include <QObject>
#include <functional>
#include <memory>

namespace orvik {

class AppModel;
class Texts;

/// What stands between a user who wants to add a phone and the code: a relay to be chosen, a
/// keyring to be unlocked, a pairing that is lost and has to be made anew. Tells, too, when a
/// pairing cannot be kept. Nothing of it waits. Main thread only.
class AddPhone : public QObject {
  Q_OBJECT
 public:
  struct Actions {
    /// Shows the code of the present pairing, of which there is one.
    std::function<void()> showCode;
    /// Asks which relay to use.
    std::function<void()> chooseRelay;
  };

  /// Everything outlives it.
  AddPhone(AppModel& model, const Texts& texts, Actions actions);

  /// Shows the code, as soon as there is one and by whatever has to be asked before.
  void begin();

  /// Says in a box what the user has to know, in place of an earlier one.
  void say(const QString& text);

 private:
  void follow();
  void tell();
  /// In place of an earlier one. Shown when it has its buttons: without any it would make itself
  /// one.
  void makeBox(QMessageBox::Icon icon, const QString& text);
  void showBox();
  void askForNewPairing();

  AppModel& model;
  const Texts& texts;
  const Actions actions;
  /// The code is to be shown when it is there.
  bool isWanted = false;
  /// The user has been asked for the keyring since.
  bool hasAsked = false;
  /// What is waited for has been said since.
  bool hasSaid = false;
  bool wasKept = true;
  bool wasLasting = true;
  std::unique_ptr<QMessageBox> box;
};

}  // namespace orvik
