#include "phone/terminal/LiveScreen.h"

#include <algorithm>

#include "phone/terminal/DisplayText.h"

namespace orvik {

namespace {

// ECMA-48 control sequences; the cursor's are those of the DEC VT220.
constexpr const char* hideCursor = "\x1B[?25l";
constexpr const char* showCursor = "\x1B[?25h";
constexpr const char* clearRestOfLine = "\x1B[K";
constexpr const char* clearBelow = "\x1B[J";
constexpr const char* bold = "\x1B[1m";
constexpr const char* yellow = "\x1B[33m";
constexpr const char* plain = "\x1B[0m";

std::string up(int rows) { return rows > 0 ? "\x1B[" + std::to_string(rows) + "A" : ""; }

/// As many lines as fit; when not all do, the last one says so.
std::vector<ViewLine> fitting(const std::vector<ViewLine>& lines, ScreenSize size) {
  const auto rows = static_cast<std::size_t>(size.rows);
  std::vector<ViewLine> fit(
      lines.begin(), lines.begin() + static_cast<std::ptrdiff_t>(std::min(rows, lines.size())));
  if (lines.size() > rows) {
    const std::size_t hidden = lines.size() - rows + 1;
    fit.back() = {"", "… " + std::to_string(hidden) + " more lines: enlarge the window", false};
  }
  for (ViewLine& line : fit) {
    line.heading = clipped(line.heading, size.columns - 1);
    line.body = clipped(line.body, size.columns - 1 - columnsOf(line.heading));
  }
  return fit;
}

}  // namespace

std::string LiveScreen::styled(const ViewLine& line) const {
  const auto with = [this](const char* style, const std::string& text) {
    return isStyled && !text.empty() ? style + text + plain : text;
  };
  return with(bold, line.heading) + (line.attention ? with(yellow, line.body) : line.body);
}

/// The rows between the block's top and the cursor, on its last line. A terminal that has become
/// narrower wraps the lines that stand on it.
int LiveScreen::rowsAbove(int columns) const {
  int rows = 0;
  for (const int width : widths) {
    rows += std::max((width + columns - 1) / columns, 1);
  }
  return rows - 1;
}

std::string LiveScreen::paint(const std::vector<ViewLine>& lines, ScreenSize size) {
  std::string out = widths.empty() ? hideCursor : "\r" + up(rowsAbove(size.columns));
  widths.clear();
  for (const ViewLine& line : fitting(lines, size)) {
    out += widths.empty() ? "" : "\r\n";
    out += styled(line) + clearRestOfLine;
    widths.push_back(columnsOf(line.heading) + columnsOf(line.body));
  }
  return out + clearBelow;
}

std::string LiveScreen::end() {
  const bool isBegun = !widths.empty();
  widths.clear();
  return isBegun ? std::string("\r\n") + showCursor : std::string();
}

}  // namespace orvik
