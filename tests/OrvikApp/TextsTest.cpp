#include <gtest/gtest.h>

#include <QDirIterator>
#include <QRegularExpression>
#include <QSet>
#include <QTime>
#include <map>
#include <vector>

#include "OrvikApp/Texts.h"

namespace orvik {
namespace {

const QString sources = QStringLiteral(ORVIK_APP_SOURCES);

QString content(const QString& path) {
  QFile file(path);
  EXPECT_TRUE(file.open(QIODevice::ReadOnly)) << path.toStdString();
  return QString::fromUtf8(file.readAll());
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

TEST(Texts, MatchTheLocale) {
  const std::map<std::string, std::vector<std::string>> cancel{
      {"Abbrechen", {"de", "de-AT", "de_CH.UTF-8"}},
      {"Cancelar", {"pt", "pt_BR", "es_MX"}},
      {"取消", {"zh", "zh_CN.UTF-8", "zh-Hans-HK"}},
      {"إلغاء", {"ar", "ar_EG"}},
      {"Cancel", {"en_GB", "zh-TW", "zh_HK", "he", "", "C", "not a locale", "../../etc"}}};
  for (const auto& [expected, identifiers] : cancel) {
    for (const std::string& identifier : identifiers) {
      const Texts texts(QString::fromStdString(identifier));
      EXPECT_EQ(texts.text("Cancel").toStdString(), expected) << identifier;
      EXPECT_EQ(texts.direction() == Qt::RightToLeft, identifier.starts_with("ar")) << identifier;
    }
  }
  for (const auto& [languages, first] :
       {std::pair{"sv-SE zh-TW de-AT fr", "de-AT"}, {"en-GB de", "en-GB"}, {"C", "en"}}) {
    EXPECT_EQ(Texts::userLocale(QString::fromLatin1(languages).split(QLatin1Char(' '))),
              QString::fromLatin1(first));
  }
}

TEST(Texts, CountPhonesAsTheLanguageDoes) {
  const std::tuple<const char*, qint64, const char*> cases[] = {
      {"en", 1, "1 phones"},
      {"en", 1234, "1,234 phones"},
      {"de", 3'000'000'000, "3.000.000.000 Telefone"},
      {"ru", 2, "2 телефона"},
      {"ru", 11, "11 телефонов"},
      {"ru", 21, "21 телефон"},
      {"ar", 1, "هاتف واحد"},
      {"ar", 11, "١١ هاتفًا"},
      {"ja", 2, "スマートフォン2台"}};
  for (const auto& [locale, count, text] : cases) {
    EXPECT_EQ(Texts(QString::fromLatin1(locale)).phones(count).toStdString(), text);
  }
}

TEST(Texts, FillInArgumentsOnceAndWriteTimesForPeople) {
  const Texts texts(QStringLiteral("en"));
  const QString two = QStringLiteral("2");
  const char* const key = "Orvik %@ is available. You have %@.";
  EXPECT_EQ(texts.text(key, {QStringLiteral("%@"), two, two}).toStdString(),
            "Orvik %@ is available. You have 2.");
  EXPECT_EQ(texts.text(key, {two}).toStdString(), "Orvik 2 is available. You have %@.");
  for (const auto& [formats, time] : {std::pair{QLocale(QStringLiteral("de")), "14:05"},
                                      {QLocale::c(), "2:05 PM"}}) {  // and no seconds
    const Texts german(QStringLiteral("de"), formats);
    EXPECT_EQ(german.locale().toString(QTime(14, 5), QLocale::ShortFormat).toStdString(), time);
  }
}

}  // namespace
}  // namespace orvik
