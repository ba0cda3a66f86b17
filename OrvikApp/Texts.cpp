#include "OrvikApp/Texts.h"

#include <algorithm>
#include <array>
#include <limits>
#include <optional>

namespace orvik {

namespace {

constexpr const char* context = "Orvik";
constexpr const char* phonesKey = "%lld phones";

/// A language that there are texts for, and the name of its file. English has none: its texts are
/// the keys.
struct Language {
  QLocale::Language language;
  const char* file;
};

constexpr std::array languages{
    Language{QLocale::Arabic, "ar"},   Language{QLocale::Chinese, "zh-Hans"},
    Language{QLocale::Dutch, "nl"},    Language{QLocale::English, nullptr},
    Language{QLocale::French, "fr"},   Language{QLocale::German, "de"},
    Language{QLocale::Hindi, "hi"},    Language{QLocale::Italian, "it"},
    Language{QLocale::Japanese, "ja"}, Language{QLocale::Korean, "ko"},
    Language{QLocale::Polish, "pl"},   Language{QLocale::Portuguese, "pt-BR"},
    Language{QLocale::Russian, "ru"},  Language{QLocale::Spanish, "es"},
    Language{QLocale::Turkish, "tr"},  Language{QLocale::Ukrainian, "uk"},
};

const Language* languageOf(const QLocale& locale) {
  const bool isUnreadable =
      locale.language() == QLocale::Chinese && locale.script() != QLocale::SimplifiedHanScript;
  const auto* const found = std::ranges::find(languages, locale.language(), &Language::language);
  return isUnreadable || found == languages.end() ? nullptr : found;
}

/// The "C" locale writes numbers and times for programs, with seconds and no separators.
QLocale readable(const QLocale& formats) {
  return formats.language() == QLocale::C ? QLocale(QLocale::English) : formats;
}

}  // namespace

Texts::Texts(const QString& localeIdentifier)
    : Texts(localeIdentifier, QLocale(localeIdentifier)) {}

Texts::Texts(const QString& localeIdentifier, const QLocale& formats) : numbers(readable(formats)) {
  const Language* const language = languageOf(QLocale(localeIdentifier));
  if (language == nullptr || language->file == nullptr) {
    return;
  }
  textDirection = QLocale(language->language).textDirection();
  // A text that cannot be loaded is shown in English.
  static_cast<void>(translator.load(
      QStringLiteral(":/translations/orvik_%1.qm").arg(QLatin1String(language->file))));
}

QString Texts::userLocale(const QStringList& languages) {
  const auto found = std::ranges::find_if(
      languages, [](const QString& name) { return languageOf(QLocale(name)) != nullptr; });
  return found == languages.end() ? QStringLiteral("en") : *found;
}

QString Texts::text(const char* key) const {
  const QString translated = translator.translate(context, key);
  return translated.isEmpty() ? QString::fromUtf8(key) : translated;
}

QString Texts::text(const char* key, const QStringList& arguments) const {
  constexpr QLatin1String place("%@");
  QString filled = text(key);
  qsizetype from = 0;
  for (const QString& argument : arguments) {
    const qsizetype at = filled.indexOf(place, from);
    if (at < 0) {
      break;
    }
    filled.replace(at, place.size(), argument);
    from = at + argument.size();
  }
  return filled;
}

QString Texts::phones(qint64 count) const {
  // More phones than that take the same form.
  const auto counted = static_cast<int>(std::min<qint64>(count, std::numeric_limits<int>::max()));
  QString form = translator.translate(context, phonesKey, nullptr, counted);
  if (form.isEmpty()) {
    form = QString::fromUtf8(phonesKey);
  }
  return form.replace(QLatin1String("%lld"), numbers.toString(count));
}

}  // namespace orvik
