#include "phone/terminal/LiveScreen.h"

#include <algorithm>
#include <utility>

#include "phone/terminal/DisplayText.h"

namespace orvik {

namespace {

// ECMA-48 control sequences; the cursor's are those of the DEC VT220, the alternate screen xterm's.
constexpr const char* begin = "\x1B[?1049h\x1B[?25l";
constexpr const char* leave = "\x1B[?25h\x1B[?1049l";
constexpr const char* home = "\x1B[H";
constexpr const char* clearRestOfLine = "\x1B[K";
constexpr const char* clearBelow = "\x1B[J";
constexpr const char* bold = "\x1B[1m";
constexpr const char* faint = "\x1B[2m";
constexpr const char* yellow = "\x1B[33m";
constexpr const char* plain = "\x1B[0m";

/// As many lines as fit; when not all do, the last one says so.
std::vector<ViewLine> fitting(const std::vector<ViewLine>& lines, ScreenSize size) {
  const auto rows = static_cast<std::size_t>(size.rows);
  std::vector<ViewLine> fit(
      lines.begin(), lines.begin() + static_cast<std::ptrdiff_t>(std::min(rows, lines.size())));
  if (lines.size() > rows) {
    const std::size_t hidden = lines.size() - rows + 1;
    fit.back() = {"", "… " + std::to_string(hidden) + " more lines: enlarge the window"};
  }
  for (ViewLine& line : fit) {
    line.heading = clipped(line.heading, size.columns - 1);
    line.body = clipped(line.body, size.columns - 1 - columnsOf(line.heading));
  }
  return fit;
}

}  // namespace

std::string LiveScreen::styled(const ViewLine& line) const {
  if (!isStyled) {
    return line.heading + line.body;
  }
  const auto with = [](const char* style, const std::string& text) {
    return text.empty() ? text : style + text + plain;
  };
  return line.isOld
             ? with(faint, line.heading + line.body)
             : with(bold, line.heading) + (line.attention ? with(yellow, line.body) : line.body);
}

std::string LiveScreen::paint(const std::vector<ViewLine>& lines, ScreenSize size) {
  std::string out = std::exchange(isBegun, true) ? home : std::string(begin) + home;
  bool isFirst = true;
  for (const ViewLine& line : fitting(lines, size)) {
    out += std::exchange(isFirst, false) ? "" : "\r\n";
    out += styled(line) + clearRestOfLine;
  }
  return out + clearBelow;
}

std::string LiveScreen::end() { return std::exchange(isBegun, false) ? leave : ""; }

}  // namespace orvik
