#pragma once

#include <QAction>
#include <QCheckBox>
#include <QLabel>
#include <QPushButton>
#include <QWidget>
#include <string_view>

#include "OrvikApp/QRCode.h"
#include "core/values/SecretBytes.h"

namespace orvik {

class Texts;

/// What a user sees when adding a phone: a greeting, the code to scan, what to do with it, and the
/// switch that opens the application at login. 340 points wide and as high as its content needs;
/// it paints no background of its own. Follows the palette, the font and the texts' direction. The
/// link can be copied, with a word on what it opens. Main thread only.
class PairingCard : public QWidget {
  Q_OBJECT

 public:
  static constexpr int cardWidth = 340;

  /// `texts` is read here and not kept.
  PairingCard(const Texts& texts, std::string_view link, QWidget* parent = nullptr);

  /// Shows the code of another link.
  void setLink(std::string_view link);

  /// Covers the code until a click on the button in its place, or shows it. It is shown at first.
  void setCodeShown(bool isShown);
  [[nodiscard]] bool isCodeShown() const { return codeShown; }

  [[nodiscard]] bool launchAtLogin() const;
  /// Shows the switch as the system has it, and tells nobody.
  void setLaunchAtLogin(bool isOn);

 Q_SIGNALS:
  /// The user asks for the code, and there is no link yet.
  void codeWanted();
  /// The user has moved the switch.
  void launchAtLoginToggled(bool isOn);

 protected:
  void changeEvent(QEvent* event) override;

 private:
  void applyStyle();
  void copyLink();

  const QString titleText;
  const QString headingText;
  const QString instructionText;
  const QString launchText;
  const QString copyWarning;
  SecretText link;
  bool codeShown = true;
  QLabel title;
  QLabel heading;
  QRCode code;
  QPushButton showCode;
  QAction copy;
  QLabel instruction;
  QCheckBox launchSwitch;
};

}  // namespace orvik
