#include "phone/terminal/LinePrinter.h"

#include <algorithm>

#include "phone/terminal/Readings.h"
#include "phone/terminal/SampleView.h"

namespace orvik {

namespace {

/// The same JSON on one line: outside of its strings, where JSON allows none, line breaks are
/// only blanks.
std::string onOneLine(std::string json) {
  std::ranges::replace(json, '\n', ' ');
  std::ranges::replace(json, '\r', ' ');
  return json + '\n';
}

}  // namespace

LinePrinter::LinePrinter(Format lineFormat, Output& lineOutput, Output& noteOutput,
                         PayloadLimit payloadLimit)
    : format(lineFormat), out(lineOutput), notes(noteOutput), limit(payloadLimit) {}

void LinePrinter::note(const std::string& text) { notes.write("orvik-phone: " + text + "\n"); }

void LinePrinter::connectionChanged(const ConnectionState& connection) {
  state.connection = connection;
  const std::string text = description(connection);
  switch (connection.phase) {
    case ConnectionState::Phase::live:
      trouble.clear();
      break;
    case ConnectionState::Phase::waiting:
    case ConnectionState::Phase::macOffline: {
      // The wait grows with every attempt; only another reason is news.
      const std::string cause =
          connection.phase == ConnectionState::Phase::waiting ? connection.reason : text;
      if (cause != trouble) {
        trouble = cause;
        note(text);
      }
      break;
    }
    case ConnectionState::Phase::connecting:
    case ConnectionState::Phase::held:
      break;
  }
}

bool LinePrinter::opened(const Payload& payload) {
  const bool isSample = payload.kind == Envelope::Kind::sample;
  const bool isAlert = payload.kind == Envelope::Kind::alert;
  if (isSample) {
    state.sample = payload.content;
  }
  if (format == Format::json && (isSample || (isAlert && state.alerts.isNew(payload)))) {
    out.write(onOneLine(payload.text));
  } else if (isSample) {
    out.write(sampleSummary(state) + "\n");
  } else if (format == Format::summary && isAlert && state.alerts.take(payload)) {
    const auto now = Readings(&state.sample).integer("epoch");
    out.write("alert " + state.alerts.entries().front().text(now) + "\n");
  } else {
    return true;
  }
  return limit.take() && out.isOpen();
}

void LinePrinter::unreadable() {
  if (state.unreadable++ == 0) {
    note("a message could not be opened with this link and was skipped");
  }
}

}  // namespace orvik
