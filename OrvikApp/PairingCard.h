#pragma once

#include <QCheckBox>
#include <QLabel>
#include <QWidget>

#include "OrvikApp/QRCode.h"

namespace orvik {

class Texts;

/// What a user sees when adding a phone: a greeting, the code to scan, what to do with it, and the
/// switch that opens the application at login. 340 points wide and as high as its content needs;
/// it paints no background of its own. Follows the palette, the font and the texts' direction.
/// Main thread only.
class PairingCard : public QWidget {
  Q_OBJECT

 public:
  static constexpr int cardWidth = 340;

  /// `texts` is read here and not kept.
  PairingCard(const Texts& texts, const QString& link, QWidget* parent = nullptr);

  /// Shows the code of another link.
  void setLink(const QString& link);

  [[nodiscard]] bool launchAtLogin() const;
  /// Shows the switch as the system has it, and tells nobody.
  void setLaunchAtLogin(bool isOn);

 Q_SIGNALS:
  /// The user has moved the switch.
  void launchAtLoginToggled(bool isOn);

 protected:
  void changeEvent(QEvent* event) override;

 private:
  void applyStyle();

  const QString titleText;
  const QString headingText;
  const QString instructionText;
  const QString launchText;
  QLabel title;
  QLabel heading;
  QRCode code;
  QLabel instruction;
  QCheckBox launchSwitch;
};

}  // namespace orvik
