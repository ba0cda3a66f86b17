#pragma once

#include <QCheckBox>
#include <QDialog>
#include <QDialogButtonBox>
#include <QLabel>
#include <QLineEdit>
#include <functional>

#include "core/client/RelayCheck.h"

namespace orvik {

class Texts;

/// Asks which relay to use, tries it, and says in words what came of it. Where the relay's
/// certificate is of its own making, shows its fingerprint, which the user may trust. Main thread
/// only.
class RelayDialog : public QDialog {
  Q_OBJECT
 public:
  /// Tries a relay; calls `answer` on the main thread, later.
  using Check =
      std::function<void(const RelayEndpoint& endpoint, std::function<void(RelayCheck)> answer)>;

  /// `texts` outlives it. `present` is what is used now, without a URL for none.
  RelayDialog(const Texts& texts, const RelayEndpoint& present, Check check);

  /// Tries what is in the field, as a click on "OK" does.
  void tryAddress();

 Q_SIGNALS:
  /// This relay answers, and the user trusts it.
  void chosen(const RelayEndpoint& endpoint);

 private:
  void take(const RelayEndpoint& endpoint, const RelayCheck& result);
  void say(const QString& text);
  void setTrustShown(bool isShown);

  const Texts& texts;
  const Check check;
  QLineEdit address;
  QLabel message;
  QLabel fingerprint;
  QLabel advice;
  QCheckBox trust;
  QDialogButtonBox buttons;
  /// The address whose certificate is shown.
  std::string shownFor;
  std::string shownFingerprint;
  int attempts = 0;
};

}  // namespace orvik
