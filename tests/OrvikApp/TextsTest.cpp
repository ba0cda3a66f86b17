#include <gtest/gtest.h>

#include <QDateTime>
#include <QDirIterator>
#include <QRegularExpression>
#include <QSet>
#include <map>

#include "OrvikApp/StatusMenu.h"
#include "OrvikApp/Texts.h"
#include "tests/support/Table.h"

namespace orvik {
namespace {

const QString sources = QStringLiteral(ORVIK_APP_SOURCES);

QString content(const QString& path) {
  return QString::fromStdString(test::contentsOf(path.toStdString()));
}

/// The keys in the sources: what stands in quotes in the first argument of `text(…)`.
QSet<QString> usedKeys() {
  static const QRegularExpression call(
      QStringLiteral(R"re(\btext\(((?:"[^"]*"|\([^()"]*\)|[^"(),;])*))re"));
  static const QRegularExpression literal(QStringLiteral(R"re("([^"]*)")re"));
  QSet<QString> keys{QStringLiteral("%lld phones")};
  QDirIterator files(sources, {QStringLiteral("*.cpp"), QStringLiteral("*.mm")}, QDir::Files,
                     QDirIterator::Subdirectories);
  while (files.hasNext()) {
    for (const auto& found : call.globalMatch(content(files.next()))) {
      for (const auto& key : literal.globalMatch(found.captured(1))) {
        keys.insert(key.captured(1));
      }
    }
  }
  return keys;
}

/// The finished translations of one language, with their plural forms.
std::map<QString, QStringList> translations(const QString& language) {
  static const QRegularExpression message(
      QStringLiteral("<source>(.*?)</source>\\s*<translation>(.*?)</translation>"),
      QRegularExpression::DotMatchesEverythingOption);
  static const QRegularExpression form(QStringLiteral("<numerusform>(.*?)</numerusform>"));
  std::map<QString, QStringList> found;
  const QString file = content(sources + QStringLiteral("/translations/orvik_%1.ts").arg(language));
  for (const auto& it : message.globalMatch(file)) {
    QStringList& forms = found[it.captured(1)];
    for (const auto& plural : form.globalMatch(it.captured(2))) {
      forms += plural.captured(1);
    }
    forms += forms.isEmpty() ? QStringList(it.captured(2)) : QStringList();
  }
  return found;
}

TEST(Texts, AreCompleteInEveryLanguage) {
  const std::map<std::string, int> plurals{
      {"ar", 6}, {"de", 2}, {"es", 2},    {"fr", 2}, {"hi", 2}, {"it", 2}, {"ja", 1},     {"ko", 1},
      {"nl", 2}, {"pl", 3}, {"pt-BR", 2}, {"ru", 3}, {"tr", 1}, {"uk", 3}, {"zh-Hans", 1}};
  const QSet<QString> used = usedKeys();
  const auto count = [](const QString& text, const char* place) {
    return text.count(QLatin1String(place));
  };
  for (const auto& [language, pluralForms] : plurals) {
    const auto found = translations(QString::fromStdString(language));
    EXPECT_EQ(found.size(), static_cast<std::size_t>(used.size())) << language;
    for (const QString& key : used) {
      SCOPED_TRACE(language + ": " + key.toStdString());
      ASSERT_TRUE(found.contains(key));
      const QStringList& forms = found.at(key);
      const bool isCounted = count(key, "%lld") > 0;
      EXPECT_EQ(forms.size(), isCounted ? pluralForms : 1);
      for (qsizetype i = 0; i < forms.size(); ++i) {
        EXPECT_FALSE(forms[i].trimmed().isEmpty());
        EXPECT_EQ(count(forms[i], "%@"), count(key, "%@"));
        // Arabic says none, one and two in words.
        EXPECT_EQ(count(forms[i], "%lld"), isCounted && !(language == "ar" && i < 3));
        EXPECT_EQ(count(forms[i], "%"), count(forms[i], "%@") + count(forms[i], "%lld"));
      }
    }
  }
  const QDir folder(sources + QStringLiteral("/translations"));
  EXPECT_EQ(folder.entryList(QDir::Files).size(), static_cast<qsizetype>(plurals.size()));
}

TEST(Texts, MatchTheLocaleAndCountPhonesAsTheLanguageDoes) {
  const auto qt = [](std::string_view text) { return QString::fromStdString(std::string(text)); };
  test::expectTable("app/texts.txt",
                    {{"cancel",
                      [&](std::string_view locale) {
                        const Texts texts(qt(locale));
                        const char* const side = texts.direction() == Qt::RightToLeft ? "<" : "";
                        return side + texts.text("Cancel").toStdString();
                      }},
                     {"user",
                      [&](std::string_view languages) {
                        return Texts::userLocale(qt(languages).split(u' ')).toStdString();
                      }},
                     {"online", [&](std::string_view row) {
                        const QStringList words = qt(row).split(u' ');
                        const relayState::Online online{words[1].toLongLong()};
                        return StatusMenu::statusLine({}, online, Texts(words[0])).toStdString();
                      }}});
}

TEST(Texts, FillInArgumentsOnce) {
  const Texts texts(QStringLiteral("en"));
  const QString two = QStringLiteral("2");
  const char* const key = "Orvik %@ is available. You have %@.";
  EXPECT_EQ(texts.text(key, {QStringLiteral("%@"), two, two}).toStdString(),
            "Orvik %@ is available. You have 2.");
  EXPECT_EQ(texts.text(key, {two}).toStdString(), "Orvik 2 is available. You have %@.");
}

TEST(Texts, SayThePauseBeforeTheStateAndItsEndAsTheLocaleWritesTimes) {
  const QDateTime afternoon(QDate(2026, 3, 1), QTime(14, 5));
  const Clock::UnixTime later{std::chrono::milliseconds(afternoon.toMSecsSinceEpoch())};
  const std::tuple<QLocale, std::optional<Clock::UnixTime>, RelayState, const char*> cases[] = {
      {QLocale(QStringLiteral("de")), later, relayState::Online{3}, "Paused until 14:05"},
      {QLocale::c(), later, relayState::Stopped{}, "Paused until 2:05 PM"},
      {QLocale::c(), {}, relayState::Waiting{8}, "Offline – reconnecting…"},
      {QLocale::c(), {}, relayState::Stopped{}, "Offline – reconnecting…"},
      {QLocale::c(), {}, relayState::Connecting{}, "Connecting…"},
      {QLocale::c(), {}, relayState::Rejected{}, "Pairing lost – add a phone again"}};
  for (const auto& [formats, pausedUntil, state, line] : cases) {
    const Texts english(QStringLiteral("en"), formats);
    EXPECT_EQ(StatusMenu::statusLine(pausedUntil, state, english).toStdString(), line);
  }
}

}  // namespace
}  // namespace orvik
