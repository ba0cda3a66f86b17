#include <gtest/gtest.h>

#include <QApplication>
#include <QPushButton>

#include "OrvikApp/RelayDialog.h"
#include "OrvikApp/Texts.h"

namespace orvik {
namespace {

using Outcome = RelayCheck::Outcome;

/// What is on the screen below the address.
std::string said(const QDialog& dialog) {
  std::string text;
  for (const QLabel* const label : dialog.findChildren<QLabel*>()) {
    if (label->isVisible() && label->buddy() == nullptr && !label->font().bold()) {
      text += (text.empty() ? "" : "|") + label->text().toStdString();
    }
  }
  return text;
}

TEST(RelayDialog, SaysWhatIsWrongAndTrustsOnlyWhatWasShown) {
  const Texts texts(QStringLiteral("en"));
  std::function<void(RelayCheck)> answer;
  std::optional<RelayEndpoint> tried;
  std::optional<RelayEndpoint> chosen;
  RelayDialog dialog(texts, {}, [&](const RelayEndpoint& endpoint, auto then) {
    tried = endpoint;
    answer = then;
  });
  QObject::connect(&dialog, &RelayDialog::chosen, [&](const auto& endpoint) { chosen = endpoint; });
  dialog.show();
  auto* const field = dialog.findChild<QLineEdit*>();
  auto* const box = dialog.findChild<QCheckBox*>();
  const auto enter = [&](const char* address) {
    field->setText(QString::fromUtf8(address));
    Q_EMIT field->textEdited(field->text());
    dialog.tryAddress();
  };
  enter("https://a.test");
  EXPECT_EQ(said(dialog), "The address has to begin with wss:// and name a host.");
  EXPECT_FALSE(tried);
  const std::pair<Outcome, const char*> words[] = {
      {Outcome::unreachable, "This relay cannot be reached."},
      {Outcome::insecure, "No secure connection to this address is possible."},
      {Outcome::noRelay, "There is no Orvik relay at this address."}};
  for (const auto& [outcome, word] : words) {
    enter(" wss://a.test ");
    EXPECT_EQ(said(dialog), "Checking the relay…");
    answer({outcome});
    EXPECT_EQ(said(dialog), word);
  }
  answer({Outcome::untrusted, "AA:BB"});
  EXPECT_EQ(said(dialog),
            "This computer does not trust the relay’s certificate. Its fingerprint (SHA-256) is:|"
            "AA\nBB|Trust it only if the relay shows the same one.");
  // The answer for an address that has been changed since counts no more, nor does the tick.
  box->setChecked(true);
  enter("wss://b.test");
  EXPECT_EQ(tried, RelayEndpoint::at("wss://b.test"));
  const auto late = answer;
  enter("wss://a.test");
  EXPECT_FALSE(box->isVisible());
  late({Outcome::relay});
  EXPECT_FALSE(chosen);
  answer({Outcome::untrusted, "AA:BB"});
  box->setChecked(true);
  dialog.tryAddress();
  EXPECT_EQ(tried->fingerprint, "AA:BB");
  answer({Outcome::relay});
  EXPECT_EQ(chosen, tried);
  EXPECT_FALSE(dialog.isVisible());
}

}  // namespace
}  // namespace orvik
