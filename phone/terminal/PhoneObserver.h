#pragma once

#include <string>

#include "core/pairing/Envelope.h"
#include "core/values/UntypedValue.h"
#include "phone/terminal/ConnectionState.h"

namespace orvik {

/// An opened envelope whose content is a JSON object.
struct Payload {
  Envelope::Kind kind;
  /// The JSON text exactly as it was sealed, and what it says.
  std::string text;
  UntypedValue content;
};

/// Whoever shows what a PhoneClient learns. Called on the client's executor; does not throw.
class PhoneObserver {
 public:
  virtual ~PhoneObserver() = default;
  virtual void connectionChanged(const ConnectionState& state) = 0;
  /// Returns whether more is wanted: false ends the client.
  [[nodiscard]] virtual bool opened(const Payload& payload) = 0;
  /// A message came that is no envelope which this pairing opens. It has been skipped.
  virtual void unreadable() = 0;
};

}  // namespace orvik
