#pragma once

#include <string>

#include "relay/push/Pusher.h"

namespace orvik::relay {

/// What a phone is pushed, before it is encrypted: a declarative message, which a browser can show
/// without a worker and which says nothing of the alert, with the sealed envelope for a worker that
/// can open it, if there is room for that.
[[nodiscard]] std::string pushMessage(const PushedAlert& alert);

/// The Topic by which one phone's push service knows the alert: another for each phone, so that
/// services cannot tell who looks at one computer. Empty where the alert has none.
[[nodiscard]] std::string pushTopic(const PushedAlert& alert, const Subscription& to);

}  // namespace orvik::relay
