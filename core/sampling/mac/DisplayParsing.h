#pragma once

#include "core/values/JSONValue.h"
#include "core/values/UntypedValue.h"

/// Pure functions that take what the Mac's tools print, broken and hostile output included; what is
/// unknown or malformed is skipped entry by entry and member by member.
namespace orvik::ConnectionsParsing {

/// The displays of the document, in its order: an array of objects with "name", "width", "height",
/// "refresh_hz" (a double, or null), "main" and "builtin". The size is in pixels: the panel's where
/// the tool tells it, otherwise what is drawn for it. Entries without name or
/// size, such as connectors with nothing on them, are skipped.
[[nodiscard]] JSONValue displays(const UntypedValue& document);

}  // namespace orvik::ConnectionsParsing
