#include "OrvikApp/Appcast.h"

#include <QCollator>
#include <QHash>
#include <QRegularExpression>
#include <QTextDocumentFragment>
#include <QXmlStreamReader>
#include <algorithm>
#include <optional>

#include "core/values/Text.h"

namespace orvik {

namespace {

const QString versions = QStringLiteral("http://www.andymatuschak.org/xml-namespaces/sparkle");

/// Feeds are five elements deep, and notes in XHTML a few more.
constexpr int deepest = 32;
/// An element has a handful. The reader's search for double ones takes the square of their number.
constexpr int mostAttributes = 1000;
/// Far more than one reads before an update.
constexpr qsizetype longestNotes = 8192;

QRegularExpression pattern(const char* text) {
  return QRegularExpression(
      QString::fromUtf8(text),
      QRegularExpression::CaseInsensitiveOption | QRegularExpression::DotMatchesEverythingOption);
}

struct Version {
  /// Nothing for a text that cannot be one. What follows a "+" tells builds of one version apart
  /// and does not count.
  static std::optional<Version> parse(const QString& text) {
    static const QRegularExpression form = pattern(R"(\A\d[a-z\d.+-]{0,63}\z)");
    qsizetype end = 0;
    const auto numbers = QVersionNumber::fromString(text, &end).normalized();
    return form.match(text).hasMatch() && end > 0
               ? std::optional(
                     Version{text, numbers, text.mid(end).section(QLatin1Char('+'), 0, 0)})
               : std::nullopt;
  }

  [[nodiscard]] bool isNewerThan(const Version& other) const {
    if (numbers != other.numbers || suffix.isEmpty() || other.suffix.isEmpty()) {
      return numbers > other.numbers ||
             (numbers == other.numbers && suffix.isEmpty() && !other.suffix.isEmpty());
    }
    QCollator order{QLocale(QLocale::English)};
    order.setNumericMode(true);
    order.setIgnorePunctuation(true);
    order.setCaseSensitivity(Qt::CaseInsensitive);
    return order.compare(suffix, other.suffix) > 0;
  }

  QString text;
  QVersionNumber numbers;
  QString suffix;
};

/// What an item says, as it says it.
struct Item {
  /// By the names of its elements; those of `versions` begin with a colon.
  QHash<QString, QString> texts;
  QList<QXmlStreamAttributes> files;
};

/// The items of the feed; nothing when it is none.
std::optional<QList<Item>> itemsOf(const QByteArray& feed) {
  const QStringList channelPath{QStringLiteral("rss"), QStringLiteral("channel")};
  const QStringList itemPath = channelPath + QStringList(QStringLiteral("item"));
  QXmlStreamReader xml(QString::fromUtf8(feed));
  QStringList path;
  bool hasChannel = false;
  QList<Item> items;
  QString text;
  while (!xml.atEnd()) {
    switch (xml.readNext()) {
      case QXmlStreamReader::DTD:
        return std::nullopt;
      case QXmlStreamReader::StartElement: {
        const bool isOfVersions = xml.namespaceUri() == versions;
        path += isOfVersions                   ? QLatin1Char(':') + xml.name().toString()
                : xml.namespaceUri().isEmpty() ? xml.name().toString()
                                               : QString();
        if (path.size() > deepest) {
          return std::nullopt;
        }
        hasChannel = hasChannel || path == channelPath;
        if (path == itemPath) {
          items += Item();
        } else if (path.size() == 4 && path.back() == QStringLiteral("enclosure") &&
                   path.first(3) == itemPath) {
          items.back().files += xml.attributes();
        }
        if (path.size() == 4) {
          text.clear();
        }
        break;
      }
      case QXmlStreamReader::Characters:
        text += xml.text();
        break;
      case QXmlStreamReader::EndElement:
        if (path.size() == 4 && path.first(3) == itemPath) {
          items.back().texts[path.back()] = text.trimmed();
        }
        path.removeLast();
        break;
      default:
        break;
    }
  }
  return xml.hasError() || !hasChannel ? std::nullopt : std::optional(items);
}

QUrl secureLink(const QString& text) {
  const QUrl url(text.trimmed(), QUrl::StrictMode);
  const bool isSecure =
      url.isValid() && !url.host().isEmpty() && url.scheme() == QStringLiteral("https");
  return isSecure ? url : QUrl();
}

/// A version that can be had, and its notes as they were written.
struct Offer {
  Version version;
  QString shownVersion;
  QUrl link;
  QString notes;
};

/// What an item offers to this system.
std::optional<Offer> offerOf(const Item& item, const UpdateTarget& target) {
  const auto fileFor = [&item](const QString& system) {
    return std::ranges::find_if(item.files, [&system](const QXmlStreamAttributes& file) {
      return file.value(versions, QStringLiteral("os")) == system;
    });
  };
  auto file = fileFor(target.system);
  const bool isForThisSystem = file != item.files.end();
  if (!isForThisSystem) {
    file = fileFor({});
  }
  const bool isForOthers = file == item.files.end() && !item.files.isEmpty();
  const auto attributes = file == item.files.end() ? QXmlStreamAttributes() : *file;
  const auto said = [&](const QString& name) {
    const auto value = attributes.value(versions, name);
    return value.isEmpty() ? item.texts.value(QLatin1Char(':') + name) : value.trimmed().toString();
  };
  const auto version = Version::parse(said(QStringLiteral("version")));
  if (!version || isForOthers || !item.texts.value(QStringLiteral(":channel")).isEmpty()) {
    return std::nullopt;
  }
  const auto shown = Version::parse(said(QStringLiteral("shortVersionString")));
  const QUrl page = secureLink(item.texts.value(QStringLiteral("link")));
  const QUrl link =
      page.isEmpty() ? secureLink(attributes.value(QStringLiteral("url")).toString()) : page;
  // The lowest version of an item for any system is that of one of the others.
  const bool isForNewerSystem =
      isForThisSystem && !target.systemVersion.isNull() &&
      target.systemVersion <
          QVersionNumber::fromString(item.texts.value(QStringLiteral(":minimumSystemVersion")));
  if (link.isEmpty() || isForNewerSystem) {
    return std::nullopt;
  }
  return Offer{*version, shown.value_or(*version).text, link,
               item.texts.value(QStringLiteral("description"))};
}

/// Notes, HTML or not, as plain text: paragraphs and list items on lines of their own. Of the tags
/// none is left that has attributes, through which documents load and tables grow, or that nests.
QString plainText(QString text) {
  static const QRegularExpression markup = pattern(R"(</?[a-z][a-z0-9]*(\s[^>]*)?/?>|&#?\w+;)");
  static const std::pair<QRegularExpression, QString> simplified[] = {
      {pattern(R"(<!--.*?(-->|\z)|<(script|style|head)\b.*?(</\2[^>]*(>|\z)|\z))"), {}},
      {pattern(R"(<li\b[^>]*(>|\z))"), QStringLiteral("<p>• ")},
      {pattern(R"(</?(br|p|div|ul|ol|li|h\d|tr|pre)\b[^>]*(>|\z))"), QStringLiteral("<p>")},
      {pattern(R"(</?(?!p>)[a-z][^>]*(>|\z))"), {}}};
  static const QRegularExpression controls = pattern(R"([^\P{Cc}\n\t]|\x{fffc})");
  static const QRegularExpression emptyLines = pattern(R"(\s*\n\s*\n\s*)");
  text.truncate(longestNotes);
  if (text.contains(markup)) {
    for (const auto& [tag, replacement] : simplified) {
      text.replace(tag, replacement);
    }
    text = QTextDocumentFragment::fromHtml(text).toPlainText();
  }
  return text.remove(controls).replace(emptyLines, QStringLiteral("\n\n")).trimmed();
}

}  // namespace

UpdateOutcome decideUpdate(const QByteArray& feed, const QString& currentVersion,
                           const UpdateTarget& target) {
  const bool isText = isValidUTF8({feed.constData(), static_cast<std::size_t>(feed.size())});
  const auto tags = feed.split('<');
  const bool isOdd = std::ranges::any_of(
      tags, [](const QByteArray& tag) { return tag.count('=') > mostAttributes; });
  const auto current = Version::parse(currentVersion);
  const auto items = isText && !isOdd ? itemsOf(feed) : std::nullopt;
  if (!items || !current) {
    return {};
  }
  std::optional<Offer> newest;
  for (const Item& item : *items) {
    auto offer = offerOf(item, target);
    if (offer && offer->version.isNewerThan(newest ? newest->version : *current)) {
      newest = std::move(offer);
    }
  }
  if (!newest) {
    return {.kind = UpdateOutcome::Kind::upToDate};
  }
  return {.kind = UpdateOutcome::Kind::newVersion,
          .version = newest->shownVersion,
          .link = newest->link,
          .notes = plainText(newest->notes)};
}

}  // namespace orvik
