#include "OrvikApp/PairingWindow.h"

#include <QCloseEvent>
#include <QVBoxLayout>

#include "OrvikApp/AppModel.h"
#include "OrvikApp/StatusMenu.h"
#include "OrvikApp/Texts.h"
#include "OrvikApp/platform/Windows.h"

namespace orvik {

PairingWindow::PairingWindow(AppModel& model, StatusMenu& menu, const Texts& texts)
    : model(model), card(texts, model.link().text(), this), menuBar(this) {
  setObjectName(QStringLiteral("pairing"));
  setWindowTitle(QStringLiteral("Orvik"));
  hideTitleBar(*this);
  // In the window also where menu bars are elsewhere: this one stands in for an icon.
  menuBar.setNativeMenuBar(false);
  menuBar.addMenu(&menu.menu());
  menuBar.hide();

  auto* layout = new QVBoxLayout(this);  // owned by the window
  layout->setContentsMargins(0, 0, 0, 0);
  layout->setSpacing(0);
  layout->setSizeConstraint(QLayout::SetFixedSize);
  layout->setMenuBar(&menuBar);
  layout->addWidget(&card);

  auto* close = addAction(QString(), QKeySequence(QKeySequence::Close), this, &QWidget::close);
  close->setShortcutContext(Qt::WindowShortcut);
  auto* escape = addAction(QString(), QKeySequence(QKeySequence::Cancel), this, &QWidget::close);
  escape->setShortcutContext(Qt::WindowShortcut);
  addAction(&menu.quitEntry());

  card.setLaunchAtLogin(model.launchAtLogin());
  connect(&card, &PairingCard::codeWanted, this, &PairingWindow::codeWanted);
  connect(&card, &PairingCard::launchAtLoginToggled, &model, &AppModel::setLaunchAtLogin);
  connect(&model, &AppModel::launchAtLoginChanged, this,
          [this] { card.setLaunchAtLogin(this->model.launchAtLogin()); });
  connect(&model, &AppModel::pairingChanged, this,
          [this] { card.setLink(this->model.link().text()); });
}

void PairingWindow::present() {
  model.refreshLaunchAtLogin();
  card.setCodeShown(true);
  show();
  bringToFront(this);
}

void PairingWindow::presentMenu() {
  menuBar.show();
  if (!isVisible()) {
    card.setCodeShown(false);
    show();
  }
  bringToFront(this);
}

void PairingWindow::setHoldsMenu(bool holds) {
  if (holdsMenu && !holds && (isMinimized() || !card.isCodeShown())) {
    hide();
  }
  holdsMenu = holds;
  menuBar.setVisible(holds);
}

void PairingWindow::closeEvent(QCloseEvent* event) {
  if (holdsMenu) {
    event->ignore();
    // Whoever opens it again may want the menu.
    card.setCodeShown(false);
    showMinimized();
    return;
  }
  menuBar.hide();
  QWidget::closeEvent(event);
}

void PairingWindow::changeEvent(QEvent* event) {
  QWidget::changeEvent(event);
  // Somebody comes back from the desktop's settings.
  if (event->type() == QEvent::ActivationChange && isActiveWindow()) {
    model.refreshLaunchAtLogin();
  }
}

}  // namespace orvik
