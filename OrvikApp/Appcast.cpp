#include "OrvikApp/Appcast.h"

#include <QXmlStreamReader>
#include <algorithm>

#include "OrvikApp/ReleaseNotes.h"
#include "core/values/Text.h"

namespace orvik {

namespace {

const QString versions = QStringLiteral("http://www.andymatuschak.org/xml-namespaces/sparkle");

/// Feeds are five elements deep, and notes in XHTML a few more.
constexpr int deepest = 32;
/// An element has a handful. The reader's search for double ones takes the square of their number.
constexpr int mostAttributes = 1000;
constexpr int mostItems = 1000;
constexpr qsizetype longestText = 65'536;
constexpr qsizetype longestLink = 2048;

/// Whether no element can have too many attributes: each has its equals sign, and none of an
/// element's is behind the next "<".
bool hasFewAttributes(const QByteArray& xml) {
  int count = 0;
  for (const char c : xml) {
    count = c == '<' ? 0 : c == '=' ? count + 1 : count;
    if (count > mostAttributes) {
      return false;
    }
  }
  return true;
}

std::optional<VersionNumber> versionNumber(const QString& text) {
  return VersionNumber::parse(text.trimmed().toStdString());
}

QUrl secureLink(const QString& text) {
  const QUrl url(text.trimmed(), QUrl::StrictMode);
  const bool isSecure = text.size() <= longestLink && url.isValid() && !url.host().isEmpty() &&
                        url.scheme() == QStringLiteral("https");
  return isSecure ? url : QUrl();
}

/// What an item says, as it says it.
struct Item {
  QString version;
  QString shownVersion;
  QString minimumSystemVersion;
  QString channel;
  QString link;
  QString description;
  /// The file for this system, or for any.
  QString file;
  bool hasFile = false;
  bool isForOthers = false;
  bool isForThisSystem = false;
};

class AppcastReader {
 public:
  AppcastReader(const QByteArray& feed, const UpdateTarget& target)
      : xml(QString::fromUtf8(feed)), target(target) {}

  /// False when it is no feed.
  bool read() {
    while (!xml.atEnd()) {
      switch (xml.readNext()) {
        case QXmlStreamReader::DTD:
          return false;
        case QXmlStreamReader::StartElement:
          if (++depth > deepest || !enter()) {
            return false;
          }
          break;
        case QXmlStreamReader::Characters:
          if (field != nullptr && field->size() < longestText) {
            field->append(xml.text().left(longestText - field->size()));
          }
          break;
        case QXmlStreamReader::EndElement:
          leave(depth--);
          break;
        default:
          break;
      }
    }
    return !xml.hasError() && hasChannel;
  }

  /// The newest of the items that count.
  std::optional<VersionNumber> newest;
  UpdateOutcome outcome{.kind = UpdateOutcome::Kind::newVersion};

 private:
  [[nodiscard]] bool is(const char* name) const {
    return xml.namespaceUri().isEmpty() && xml.name() == QLatin1String(name);
  }

  bool enter() {
    if (depth == 1) {
      return is("rss");
    }
    if (depth == 2) {
      isInChannel = is("channel");
      hasChannel = hasChannel || isInChannel;
    } else if (depth == 3) {
      isInItem = isInChannel && is("item") && ++items <= mostItems;
      item = {};
    } else if (depth == 4 && isInItem) {
      if (is("enclosure")) {
        enterFile();
      } else {
        field = fieldOf(xml.namespaceUri(), xml.name());
      }
    }
    return true;
  }

  void leave(int left) {
    if (left == 4) {
      field = nullptr;
    } else if (left == 3 && isInItem) {
      isInItem = false;
      weigh();
    }
  }

  /// Where the text of an element of an item belongs; null for one that does not matter.
  QString* fieldOf(QStringView space, QStringView name) {
    struct Element {
      bool isOfVersions;
      const char* name;
      QString* field;
    };
    for (const Element& element :
         {Element{false, "link", &item.link}, Element{false, "description", &item.description},
          Element{true, "version", &item.version},
          Element{true, "shortVersionString", &item.shownVersion},
          Element{true, "minimumSystemVersion", &item.minimumSystemVersion},
          Element{true, "channel", &item.channel}}) {
      if (name == QLatin1String(element.name) &&
          space == (element.isOfVersions ? versions : QString())) {
        element.field->clear();
        return element.field;
      }
    }
    return nullptr;
  }

  void enterFile() {
    const QXmlStreamAttributes attributes = xml.attributes();
    const auto system = attributes.value(versions, QStringLiteral("os"));
    if (!system.isEmpty() && system != target.system) {
      item.isForOthers = true;
      return;
    }
    if (item.hasFile && system.isEmpty()) {
      return;
    }
    item.hasFile = true;
    item.isForThisSystem = !system.isEmpty();
    item.file = attributes.value(QStringLiteral("url")).toString();
    const auto take = [&](QString& to, const QString& name) {
      if (const auto value = attributes.value(versions, name); !value.isEmpty()) {
        to = value.toString();
      }
    };
    take(item.version, QStringLiteral("version"));
    take(item.shownVersion, QStringLiteral("shortVersionString"));
  }

  /// Takes the item that has ended, when it counts and is newer than those before.
  void weigh() {
    const auto number = versionNumber(item.version);
    const QUrl page = secureLink(item.link);
    const QUrl link = page.isEmpty() ? secureLink(item.file) : page;
    const bool isForThis = item.hasFile || !item.isForOthers;
    if (!number || (newest && *number <= *newest) || link.isEmpty() || !isForThis ||
        !item.channel.trimmed().isEmpty() || isForNewerSystem()) {
      return;
    }
    newest = number;
    outcome.version =
        (versionNumber(item.shownVersion) ? item.shownVersion : item.version).trimmed();
    outcome.link = link;
    outcome.notes = item.description;
  }

  /// The lowest version of an item for any system is that of one of the others.
  [[nodiscard]] bool isForNewerSystem() const {
    const auto least = versionNumber(item.minimumSystemVersion);
    return item.isForThisSystem && least && target.systemVersion && *target.systemVersion < *least;
  }

  QXmlStreamReader xml;
  const UpdateTarget& target;
  int depth = 0;
  int items = 0;
  bool hasChannel = false;
  bool isInChannel = false;
  bool isInItem = false;
  Item item;
  QString* field = nullptr;
};

}  // namespace

UpdateOutcome decideUpdate(const QByteArray& feed, const VersionNumber& current,
                           const UpdateTarget& target) {
  const std::string_view bytes(feed.constData(), static_cast<std::size_t>(feed.size()));
  if (!isValidUTF8(bytes) || !hasFewAttributes(feed)) {
    return {};
  }
  AppcastReader reader(feed, target);
  if (!reader.read()) {
    return {};
  }
  if (!reader.newest || *reader.newest <= current) {
    return {.kind = UpdateOutcome::Kind::upToDate};
  }
  UpdateOutcome outcome = std::move(reader.outcome);
  outcome.notes = releaseNotes(outcome.notes);
  return outcome;
}

}  // namespace orvik
