#pragma once

#include <QString>

namespace orvik {

/// What a feed says about a version, HTML or not, as plain text: paragraphs and list items on lines
/// of their own. Loads nothing and runs nothing. At most the first 8192 characters of `description`
/// are used.
[[nodiscard]] QString releaseNotes(const QString& description);

}  // namespace orvik
