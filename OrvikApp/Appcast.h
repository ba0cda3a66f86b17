#pragma once

#include <QByteArray>
#include <QString>
#include <QUrl>
#include <QVersionNumber>

namespace orvik {

/// What the list of versions says to a running application.
struct UpdateOutcome {
  enum class Kind { upToDate, newVersion, unreadable };

  Kind kind = Kind::unreadable;
  /// Of a new version: its name, made of ASCII letters, digits, dots, hyphens and plus signs.
  QString version = {};
  /// Where to get it: https.
  QUrl link = {};
  /// What is new in it, as plain text; may be empty.
  QString notes = {};
};

/// The system that an update has to be for.
struct UpdateTarget {
  /// As feeds name it, such as "linux" or "macos".
  QString system;
  /// Null when it is not known.
  QVersionNumber systemVersion;
};

/// Reads an appcast: RSS 2.0 whose items name versions with the elements and attributes of
/// http://www.andymatuschak.org/xml-namespaces/sparkle. Of the items for this system the one with
/// the highest version counts, wherever in the feed it stands; "2.0-beta.3" comes before "2.0".
/// Items without a version or without an https link, and those of a channel that one has to choose,
/// are passed over. Unreadable is what is not such a feed in UTF-8, has a document type, or is far
/// from what a feed looks like.
[[nodiscard]] UpdateOutcome decideUpdate(const QByteArray& feed, const QString& currentVersion,
                                         const UpdateTarget& target);

}  // namespace orvik
