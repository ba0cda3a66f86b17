#include <gtest/gtest.h>

#include <stdexcept>
#include <string>
#include <vector>

#include "agent/TerminalQR.h"
#include "core/pairing/Pairing.h"
#include "tests/support/ScannedCode.h"

namespace orvik {
namespace {

/// Reads the drawing as a terminal shows it, two rows of modules for each line: dark ones are 0.
std::vector<std::string> modulesOf(std::string_view drawing, bool isColoured) {
  constexpr std::string_view colours = "\x1B[38;5;16;48;5;231m";
  constexpr std::string_view reset = "\x1B[0m";
  const char ink = isColoured ? '\0' : '\xFF';
  const char paper = isColoured ? '\xFF' : '\0';
  std::vector<std::string> rows;
  while (!drawing.empty()) {
    std::string_view line = drawing.substr(0, drawing.find('\n'));
    drawing.remove_prefix(line.size() + 1);
    EXPECT_EQ(line.find('\x1B') != std::string_view::npos, isColoured);
    if (isColoured) {
      EXPECT_TRUE(line.starts_with(colours) && line.ends_with(reset));
      line = line.substr(colours.size(), line.size() - colours.size() - reset.size());
    }
    std::string upper;
    std::string lower;
    while (!line.empty()) {
      const std::string_view block = line.substr(0, line.front() == ' ' ? 1 : 3);
      line.remove_prefix(block.size());
      upper += block == "█" || block == "▀" ? ink : paper;
      lower += block == "█" || block == "▄" ? ink : paper;
    }
    rows.push_back(upper);
    rows.push_back(lower);
  }
  return rows;
}

/// What a scanner reads, or empty text.
std::string scanned(const std::vector<std::string>& rows) {
  constexpr std::size_t scale = 4;
  const std::size_t width = rows.front().size() * scale;
  std::string pixels;
  for (std::size_t i = 0; i < rows.size() * scale * width; ++i) {
    pixels += rows[i / width / scale][i % width / scale];
  }
  return test::scannedCode(pixels, width);
}

TEST(TerminalQR, ReadsBack) {
  // A code's width is always odd, so that the last line is half empty.
  for (const std::string& text :
       {Pairing::generate().link("Zoë’s Mac").text(), std::string("a"), std::string(2331, 'x')}) {
    for (const auto style : {TerminalQRStyle::coloured, TerminalQRStyle::plain}) {
      const auto rows = modulesOf(terminalQR(text, style), style == TerminalQRStyle::coloured);
      EXPECT_EQ(scanned(rows), text);
      const std::string light(rows.front().size(), '\xFF');
      EXPECT_TRUE(rows.at(0) == light && rows.at(3) == light) << "the quiet zone has four modules";
      EXPECT_EQ(rows.at(4).find('\0'), 4U) << "and the code begins behind it";
      EXPECT_EQ(rows.back() == light, style == TerminalQRStyle::coloured) << "below it is nothing";
    }
  }
}

TEST(TerminalQR, RefusesWhatDoesNotFit) {
  for (const std::size_t size : {0U, 2332U, 100'000U}) {
    EXPECT_THROW(static_cast<void>(terminalQR(std::string(size, 'x'), TerminalQRStyle::plain)),
                 std::invalid_argument);
  }
}

}  // namespace
}  // namespace orvik
