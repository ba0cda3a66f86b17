#include "OrvikApp/ReleaseNotes.h"

#include <QRegularExpression>
#include <QSet>
#include <QTextDocumentFragment>

namespace orvik {

namespace {

/// Far more than one reads before an update.
constexpr qsizetype longestDescription = 8192;

/// The tag that stands for a tag of the feed: none has attributes, through which documents load
/// and tables grow, and none is nested.
QString plainTag(const QString& name, bool isOpening) {
  static const QSet<QString> blocks = {
      QStringLiteral("p"),  QStringLiteral("div"), QStringLiteral("ul"), QStringLiteral("ol"),
      QStringLiteral("h1"), QStringLiteral("h2"),  QStringLiteral("h3"), QStringLiteral("h4"),
      QStringLiteral("h5"), QStringLiteral("h6"),  QStringLiteral("tr"), QStringLiteral("pre")};
  if (name == QStringLiteral("li")) {
    return isOpening ? QStringLiteral("<p>• ") : QStringLiteral("<p>");
  }
  if (name == QStringLiteral("br")) {
    return QStringLiteral("<br>");
  }
  return blocks.contains(name) ? QStringLiteral("<p>") : QString();
}

QRegularExpression pattern(const char* text) {
  return QRegularExpression(
      QString::fromUtf8(text),
      QRegularExpression::CaseInsensitiveOption | QRegularExpression::DotMatchesEverythingOption);
}

QString plainHTML(QString html) {
  static const QRegularExpression hidden =
      pattern(R"(<!--.*?(-->|\z)|<(script|style|head)\b.*?(</\2[^>]*(>|\z)|\z))");
  static const QRegularExpression tag = pattern(R"(<(/?)([a-z][a-z0-9]*)[^>]*(>|\z))");
  html.remove(hidden);
  QString plain;
  qsizetype end = 0;
  for (auto tags = tag.globalMatch(html); tags.hasNext();) {
    const QRegularExpressionMatch match = tags.next();
    plain += html.mid(end, match.capturedStart() - end) +
             plainTag(match.captured(2).toLower(), match.captured(1).isEmpty());
    end = match.capturedEnd();
  }
  return plain + html.mid(end);
}

}  // namespace

QString releaseNotes(const QString& description) {
  static const QRegularExpression markup = pattern(R"(</?[a-z][a-z0-9]*(\s[^>]*)?/?>|&#?\w+;)");
  static const QRegularExpression controls = pattern(R"([^\P{Cc}\n\t]|\x{fffc})");
  static const QRegularExpression emptyLines = pattern(R"(\s*\n\s*\n\s*)");
  QString text = description.left(longestDescription);
  if (text.contains(markup)) {
    text = QTextDocumentFragment::fromHtml(plainHTML(text)).toPlainText();
  }
  return text.remove(controls).replace(emptyLines, QStringLiteral("\n\n")).trimmed();
}

}  // namespace orvik
