#include "agent/TerminalQR.h"

#include <array>

#include "core/pairing/QRModules.h"

namespace orvik {

namespace {

/// Black on white from the fixed part of the 256 colours: themes change the first sixteen.
constexpr const char* blackOnWhite = "\x1B[38;5;16;48;5;231m";
constexpr const char* usualColours = "\x1B[0m";

/// ISO/IEC 18004 asks for four light modules around a code; readers on phones find it with one.
constexpr int usualBorder = 2;
constexpr int leastBorder = 1;
/// Below the code: the state of the link, and the cursor.
constexpr int rowsAfter = 2;

constexpr std::array<std::string_view, 3> advice = {"Scan this code with your phone,",
                                                    "or open the link above on it.",
                                                    "Whoever has it sees the readings."};
constexpr std::string_view gap = "  ";
constexpr int adviceWidth = 33;

/// One character for two modules, one above the other.
const char* halfBlocks(bool isUpperDark, bool isLowerDark) {
  if (isUpperDark) {
    return isLowerDark ? "█" : "▀";
  }
  return isLowerDark ? "▄" : " ";
}

int linesOf(int modules) { return (modules + 1) / 2; }

/// Grows out of no memory that would keep the link.
std::string firstLine(std::string_view what, std::string_view link) {
  std::string text;
  text.reserve(what.size() + link.size() + 2);
  text.append(what).append("\n").append(link).append("\n");
  return text;
}

}  // namespace

std::optional<std::vector<std::string>> terminalQR(std::string_view text, int border) {
  const auto code = QRModules::of(text, QRModules::Correction::low);
  if (!code) {
    return std::nullopt;
  }
  const int end = code->width() + border;
  std::vector<std::string> lines;
  for (int y = -border; y < end; y += 2) {
    std::string line = blackOnWhite;
    for (int x = -border; x < end; ++x) {
      line += halfBlocks(code->isDark(x, y), code->isDark(x, y + 1));
    }
    lines.push_back(line + usualColours);
  }
  return lines;
}

std::string pairingText(std::string_view link, std::optional<ScreenSize> screen) {
  const auto code = screen ? QRModules::of(link, QRModules::Correction::low) : std::nullopt;
  if (!code) {
    return firstLine("Open this link on your phone:", link);
  }
  const auto [rows, columns] = *screen;
  const int linkRows = (static_cast<int>(link.size()) + columns - 1) / columns;
  const int least = code->width() + 2 * leastBorder;
  if (columns < least || rows < linesOf(least) + rowsAfter) {
    return firstLine(
        "Open this link on your phone, or enlarge the terminal to " + std::to_string(least) +
            " by " + std::to_string(linesOf(least) + rowsAfter) + " characters for a code to scan:",
        link);
  }
  const int usual = code->width() + 2 * usualBorder;
  const bool isRoomy = columns >= usual && rows >= linkRows + linesOf(usual) + rowsAfter;
  const auto lines = terminalQR(link, isRoomy ? usualBorder : leastBorder).value();
  const int codeWidth = isRoomy ? usual : least;
  const bool isBeside = columns >= codeWidth + static_cast<int>(gap.size()) + adviceWidth;
  // A link that the code and what follows push out of sight stands beside the code as well, in
  // pieces.
  std::vector<std::string_view> beside(advice.begin(), advice.end());
  if (linkRows + linesOf(codeWidth) + rowsAfter > rows) {
    beside.emplace_back();
    for (std::size_t at = 0; at < link.size(); at += adviceWidth) {
      beside.emplace_back(link.substr(at, adviceWidth));
    }
  }
  const std::string_view first =
      isBeside ? "" : "Scan the code with your phone, or open this link on it:\n";
  std::string text;
  text.reserve(first.size() + link.size() + 1 +
               lines.size() * (lines.front().size() + gap.size() + adviceWidth + 1));
  text.append(first).append(link).append("\n");
  for (std::size_t i = 0; i < lines.size(); ++i) {
    text += lines[i];
    if (isBeside && i >= 1 && i <= beside.size()) {
      text.append(gap).append(beside[i - 1]);
    }
    text += "\n";
  }
  return text;
}

}  // namespace orvik
