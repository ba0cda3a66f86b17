#pragma once

#include <QLocale>
#include <QString>
#include <QStringList>
#include <QTranslator>

namespace orvik {

/// The application's texts in one language. A text's key is its English wording; each other
/// language has a file in translations/.
class Texts {
 public:
  /// For a locale identifier such as "de", "pt-BR", "zh-Hans" or "en_GB"; English for one that is
  /// unknown or has no translation. Numbers and times are written as in that locale too.
  explicit Texts(const QString& localeIdentifier);

  /// The same, with numbers and times as in `formats`: a user may read one language and keep the
  /// clock of another.
  Texts(const QString& localeIdentifier, const QLocale& formats);

  /// The first of the user's languages, in their order, that there are texts for; "en" when there
  /// is none.
  [[nodiscard]] static QString userLocale(
      const QStringList& languages = QLocale::system().uiLanguages());

  /// The text of a key; the key itself where there is no translation.
  [[nodiscard]] QString text(const char* key) const;

  /// The same with each "%@" replaced by an argument, in their order. What is filled in is not
  /// searched again; a "%@" without an argument stays.
  [[nodiscard]] QString text(const char* key, const QStringList& arguments) const;

  /// "%lld phones" with the number filled in, in the plural form that the language has for it.
  [[nodiscard]] QString phones(qint64 count) const;

  /// For numbers, dates and times.
  [[nodiscard]] const QLocale& locale() const { return numbers; }
  [[nodiscard]] Qt::LayoutDirection direction() const { return textDirection; }

 private:
  QLocale numbers;
  Qt::LayoutDirection textDirection = Qt::LeftToRight;
  QTranslator translator;
};

}  // namespace orvik
