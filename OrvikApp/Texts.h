#pragma once

#include <QLocale>
#include <QString>
#include <QTranslator>

namespace orvik {

/// The application's texts in one language. A text's key is its English wording.
class Texts {
 public:
  /// For a locale identifier such as "de", "pt-BR", "zh-Hans" or "en_GB"; English for one that is
  /// unknown or has no translation.
  explicit Texts(const QString& localeIdentifier);

  /// In the languages that the user has chosen in the system.
  [[nodiscard]] static QString userLocale();

  /// The text of a key; the key itself where there is no translation.
  [[nodiscard]] QString text(const char* key) const;

  /// "%lld phones" with the number filled in, in the plural form that the language has for it.
  [[nodiscard]] QString phones(qint64 count) const;

  /// For numbers, dates and times.
  [[nodiscard]] const QLocale& locale() const { return numbers; }
  [[nodiscard]] Qt::LayoutDirection direction() const;

 private:
  QLocale numbers;
  QTranslator translator;
};

}  // namespace orvik
