#pragma once

#include <cstdint>

#include "core/alerts/Alert.h"

namespace orvik {

/// A raised alert with every member that its kind has, for whoever develops a phone.
/// `epochMs` in milliseconds since 1970.
[[nodiscard]] Alert madeUpAlert(Alert::Kind kind, std::int64_t epochMs);

}  // namespace orvik
