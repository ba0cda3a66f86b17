// Own code: phone/terminal/(AlertLog|Connections|Display|MinuteCurves|PairingLink|Quantity)
// Own code: phone/terminal/(Readings|SampleView|ViewPage)
#include <algorithm>
#include <cstdlib>
#include <sstream>

#include "core/values/JSONReader.h"
#include "phone/terminal/DisplayText.h"
#include "phone/terminal/PairingLink.h"
#include "phone/terminal/SampleView.h"

namespace {

using namespace orvik;

/// What is shown has nothing that a terminal would obey, and fits.
void check(const std::string& shown, int columns) {
  const auto isControl = [](unsigned char byte) { return byte < ' ' || byte == 0x7F; };
  if (std::ranges::any_of(shown, isControl) || columnsOf(shown) > columns ||
      static_cast<int>(asciiText(shown).size()) > columns) {
    std::abort();
  }
}

}  // namespace

/// A link to scan, or the lines of what a computer sends: samples, and alerts behind them. The
/// first byte says how wide the terminal is.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0) {
    return 0;
  }
  constexpr int widest = 4096;
  const int columns = data[0] % 100;
  const std::string text(reinterpret_cast<const char*>(data) + 1, size - 1);
  MacState state;
  try {
    state.name = PairingLink::read(text).name;
    check(state.name, widest);
  } catch (const PairingLinkError&) {
  }
  std::istringstream lines(text);
  for (std::string line; std::getline(lines, line);) {
    const UntypedValue read = readJSONOrNull(line);
    if (read.find("kind") != nullptr) {
      static_cast<void>(state.alerts.take({Envelope::Kind::alert, line, read}));
    } else {
      state.take(read);
    }
  }
  for (const ViewLine& line : sampleView(state, columns)) {
    check(line.heading + line.body, std::max(columns, 1));
  }
  check(sampleSummary(state), widest);
  return 0;
}
