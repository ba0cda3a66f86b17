#pragma once

#include <string>

#include "phone/terminal/MacState.h"
#include "phone/terminal/Output.h"
#include "phone/terminal/PhoneObserver.h"

namespace orvik {

/// Prints one line per payload, for scripts, files and pipes. Trouble with the connection goes to
/// the notes, once as long as it stays the same.
class LinePrinter final : public PhoneObserver {
 public:
  enum class Format {
    /// Every sample and alert as it comes: the opened JSON object.
    json,
    /// Every sample: the time, the state and the main readings. Every alert in words, once.
    summary,
  };

  /// `out` takes the lines and nothing else. Both outputs outlive the printer.
  LinePrinter(Format format, Output& out, Output& notes, PayloadLimit limit);

  void connectionChanged(const ConnectionState& state) override;
  [[nodiscard]] bool opened(const Payload& payload) override;
  void unreadable() override;

 private:
  void note(const std::string& text);

  const Format format;
  Output& out;
  Output& notes;
  PayloadLimit limit;
  MacState state;
  /// The trouble that the notes report last; empty when there was none since.
  std::string trouble;
};

}  // namespace orvik
