#include "OrvikApp/AddPhone.h"

#include <QPushButton>
#include <utility>

#include "OrvikApp/AppModel.h"
#include "OrvikApp/StatusMenu.h"
#include "OrvikApp/Texts.h"
#include "OrvikApp/platform/Conventions.h"
#include "OrvikApp/platform/Windows.h"

namespace orvik {

AddPhone::AddPhone(AppModel& model, const Texts& texts, Actions actions)
    : model(model), texts(texts), actions(std::move(actions)) {
  connect(&model, &AppModel::pairingChanged, this, &AddPhone::follow);
  connect(&model, &AppModel::pairingNewsChanged, this, [this] {
    follow();
    tell();
  });
}

void AddPhone::begin() {
  isWanted = true;
  hasAsked = false;
  hasSaid = false;
  if (conventions::hasPairingBoxes() &&
      std::holds_alternative<relayState::Rejected>(model.state())) {
    // The code of a pairing that the relay refuses is of no use.
    askForNewPairing();
  } else if (model.waitsFor() == AppModel::Wait::relay) {
    actions.chooseRelay();
  } else {
    follow();
  }
}

void AddPhone::follow() {
  if (!isWanted || model.isReplacing() || model.waitsFor() == AppModel::Wait::relay) {
    return;
  }
  if (model.pairing()) {
    isWanted = false;
    if (hasSaid) {
      box.reset();
    }
    actions.showCode();
  } else if (model.waitsFor() == AppModel::Wait::keyring) {
    if (model.pairingNews().isAsking) {
      hasAsked = true;
    } else if (std::exchange(hasAsked, false)) {
      askForNewPairing();
    } else {
      model.unlockKeyring();
    }
  } else if (model.waitsFor() == AppModel::Wait::otherProgram && !std::exchange(hasSaid, true)) {
    // Anything else passes by itself in a moment.
    say(StatusMenu::statusLine(model, texts));
  }
}

void AddPhone::askForNewPairing() {
  makeBox(QMessageBox::Question,
          texts.text("Make a new pairing? Every phone will need to scan the new code."));
  auto* const cancel = box->addButton(texts.text("Cancel"), QMessageBox::RejectRole);
  auto* const make = box->addButton(texts.text("OK"), QMessageBox::AcceptRole);
  box->setDefaultButton(cancel);
  box->setEscapeButton(cancel);
  isWanted = false;
  connect(box.get(), &QMessageBox::finished, this, [this, make] {
    if (box->clickedButton() == make) {
      isWanted = true;
      model.disconnectAllPhones();
    }
  });
  showBox();
}

void AddPhone::tell() {
  const PairingNews& news = model.pairingNews();
  const bool isLost = std::exchange(wasLasting, news.isLasting) && !news.isLasting;
  const bool isUnkept = std::exchange(wasKept, news.isKept) && !news.isKept;
  if ((!isLost && !isUnkept) || !conventions::hasPairingBoxes()) {
    return;
  }
  const QString lost = texts.text(
      "The disconnection could not be stored. Restarting may bring the old phones back.");
  const QString unkept =
      texts.text("The pairing could not be saved. It is valid until Orvik quits.");
  hasSaid = false;
  say(isLost ? lost : unkept);
}

void AddPhone::say(const QString& text) {
  makeBox(QMessageBox::Warning, text);
  box->addButton(texts.text("OK"), QMessageBox::AcceptRole);
  showBox();
}

void AddPhone::makeBox(QMessageBox::Icon icon, const QString& text) {
  box = std::make_unique<QMessageBox>();
  box->setIcon(icon);
  box->setWindowTitle(texts.text("Orvik"));
  box->setText(text);
  box->setAttribute(Qt::WA_QuitOnClose, false);
  box->setWindowModality(Qt::NonModal);
}

void AddPhone::showBox() {
  box->show();
  bringToFront(box.get());
}

}  // namespace orvik
