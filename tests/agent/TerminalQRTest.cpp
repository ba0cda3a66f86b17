#include <gtest/gtest.h>
#include <zbar.h>

#include <algorithm>
#include <stdexcept>
#include <vector>

#include "agent/TerminalQR.h"
#include "core/pairing/Pairing.h"

namespace orvik {
namespace {

using Row = std::vector<bool>;

constexpr std::string_view colours = "\x1B[38;5;16;48;5;231m";
constexpr std::string_view reset = "\x1B[0m";

/// Reads the drawing as a terminal shows it: two rows of modules, inked or not, for each line.
std::vector<Row> inkOf(std::string_view drawing, TerminalQRStyle style) {
  std::vector<Row> rows;
  while (!drawing.empty()) {
    std::string_view line = drawing.substr(0, drawing.find('\n'));
    drawing.remove_prefix(line.size() + 1);
    if (style == TerminalQRStyle::coloured) {
      EXPECT_TRUE(line.starts_with(colours) && line.ends_with(reset));
      line = line.substr(colours.size(), line.size() - colours.size() - reset.size());
    }
    Row upper;
    Row lower;
    while (!line.empty()) {
      const std::size_t size = line.front() == ' ' ? 1 : 3;
      const std::string_view block = line.substr(0, size);
      line.remove_prefix(size);
      upper.push_back(block == "█" || block == "▀");
      lower.push_back(block == "█" || block == "▄");
    }
    rows.push_back(upper);
    rows.push_back(lower);
  }
  return rows;
}

/// What a scanner reads, or empty text.
std::string scanned(const std::vector<Row>& rows, bool isInkDark) {
  constexpr unsigned scale = 4;
  const auto width = static_cast<unsigned>(rows.front().size()) * scale;
  const auto height = static_cast<unsigned>(rows.size()) * scale;
  std::string pixels(std::size_t{width} * height, '\xFF');
  for (unsigned y = 0; y < height; ++y) {
    for (unsigned x = 0; x < width; ++x) {
      if (rows.at(y / scale).at(x / scale) == isInkDark) {
        pixels.at(std::size_t{y} * width + x) = '\0';
      }
    }
  }
  zbar::ImageScanner scanner;
  scanner.set_config(zbar::ZBAR_QRCODE, zbar::ZBAR_CFG_BINARY, 1);
  zbar::Image image(width, height, "Y800", pixels.data(), pixels.size());
  scanner.scan(image);
  return image.symbol_begin() == image.symbol_end() ? "" : image.symbol_begin()->get_data();
}

bool hasInk(const std::vector<Row>& rows, std::size_t x, std::size_t y) { return rows.at(y).at(x); }

TEST(TerminalQR, ReadsBack) {
  const std::string link = Pairing::generate().link("Zoë’s Mac");
  // Versions of both parities of width are the rule's edge: a code is always odd, so that the
  // last line is half empty.
  for (const std::string& text : {link, std::string("a"), std::string(2331, 'x')}) {
    for (const TerminalQRStyle style : {TerminalQRStyle::coloured, TerminalQRStyle::plain}) {
      const bool isInkDark = style == TerminalQRStyle::coloured;
      const std::string drawing = terminalQR(text, style);
      const std::vector<Row> rows = inkOf(drawing, style);
      EXPECT_EQ(scanned(rows, isInkDark), text);
      for (std::size_t i = 0; i < rows.front().size(); ++i) {
        EXPECT_NE(hasInk(rows, i, 3), isInkDark) << "the quiet zone has four modules";
        EXPECT_NE(hasInk(rows, 3, i), isInkDark);
      }
      EXPECT_EQ(hasInk(rows, 4, 4), isInkDark) << "and the code begins behind it";
      EXPECT_EQ(drawing.find('\x1B') != std::string::npos, isInkDark);
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
