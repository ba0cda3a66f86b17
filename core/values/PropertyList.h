#pragma once

#include <string_view>

#include "core/values/UntypedValue.h"

namespace orvik {

/// Reads a property list, XML or binary; null for what is none. Dates become UntypedValue::Date,
/// but for those before 1933 and after 2069, which like data and references become
/// UntypedValue::Opaque. Refuses what is nested deeper than maximumNesting, what has more than
/// maximumValues (keys are values here), a binary list whose texts and data unfold to more than
/// maximumUnfoldedBytes, and XML that the parser would take seconds for.
[[nodiscard]] UntypedValue readPropertyList(std::string_view bytes);

}  // namespace orvik
