#pragma once

#include <QDialog>

#include "OrvikApp/Appcast.h"

namespace orvik {

class Texts;

/// Says what came of a search for a new version, and offers it where there is one.
class UpdateDialog final : public QDialog {
 public:
  UpdateDialog(const Texts& texts, const UpdateOutcome& outcome, const QString& currentVersion);

  /// Shows the dialog before all other windows.
  void bringForward();
};

}  // namespace orvik
