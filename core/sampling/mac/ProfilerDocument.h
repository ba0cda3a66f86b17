#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "core/values/UntypedValue.h"

namespace orvik {

// Members of a map in a tool's document. Nobody promises their types: a member of another type
// counts as absent, one by one, and so does every member of what is no map.

/// Empty when absent. Valid as long as `map` is.
[[nodiscard]] const UntypedValue::List& listMember(const UntypedValue& map, std::string_view key);

/// As it stands, but nothing when it is blank.
[[nodiscard]] std::optional<std::string> textMember(const UntypedValue& map, std::string_view key);

[[nodiscard]] std::optional<std::int64_t> integerMember(const UntypedValue& map,
                                                        std::string_view key);

namespace ConnectionsParsing {

/// What `system_profiler -json` printed, also when it has printed lines of its log before or after
/// the document. Null when there is no document.
[[nodiscard]] UntypedValue profilerDocument(std::string_view text);

}  // namespace ConnectionsParsing

}  // namespace orvik
