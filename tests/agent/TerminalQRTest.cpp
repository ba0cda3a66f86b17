#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <vector>

#include "agent/TerminalQR.h"
#include "core/pairing/Pairing.h"
#include "tests/support/ScannedCode.h"

namespace orvik {
namespace {

/// Reads a code's lines as a terminal shows them, two rows of modules for each: dark ones are 0.
/// What stands beside the code is left out.
std::vector<std::string> modulesOf(const std::vector<std::string>& lines) {
  constexpr std::string_view colours = "\x1B[38;5;16;48;5;231m";
  constexpr std::string_view reset = "\x1B[0m";
  std::vector<std::string> rows;
  for (std::string_view line : lines) {
    EXPECT_TRUE(line.starts_with(colours));
    line = line.substr(colours.size(), line.find(reset) - colours.size());
    std::string upper;
    std::string lower;
    while (!line.empty()) {
      const std::string_view block = line.substr(0, line.front() == ' ' ? 1 : 3);
      line.remove_prefix(block.size());
      upper += block == "█" || block == "▀" ? '\0' : '\xFF';
      lower += block == "█" || block == "▄" ? '\0' : '\xFF';
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

TEST(TerminalQR, ReadsBackWithEachBorder) {
  for (const std::string& text : {std::string("a"), std::string(2953, 'x')}) {
    for (const int border : {1, 2, 4}) {
      const auto rows = modulesOf(terminalQR(text, border).value());
      const auto width = static_cast<std::size_t>(border);
      EXPECT_EQ(scanned(rows), text);
      EXPECT_EQ(rows.at(width - 1), std::string(rows.front().size(), '\xFF'));
      EXPECT_EQ(rows.at(width).find('\0'), width) << "the code begins behind its border";
    }
  }
  for (const std::size_t size : {0U, 2954U, 100'000U}) {
    EXPECT_FALSE(terminalQR(std::string(size, 'x'), 1));
  }
}

TEST(PairingText, FitsTheTerminalOrSaysHowLargeItHasToBe) {
  const std::string link = Pairing::generate().link("Zoë’s computer").text();
  ASSERT_TRUE(link.size() > 106 && link.size() <= 134) << "a code of 41 modules";
  struct Case {
    ScreenSize screen;
    std::size_t codeLines;
    bool isBeside;
  };
  // With the narrow border 43 modules, which are 22 lines.
  const Case cases[] = {{{24, 80}, 22, true},  {{24, 77}, 22, false}, {{23, 80}, 0, false},
                        {{22, 80}, 0, false},  {{24, 43}, 22, false}, {{24, 42}, 0, false},
                        {{40, 120}, 23, true}, {{1, 1}, 0, false}};
  for (const auto& [screen, codeLines, isBeside] : cases) {
    SCOPED_TRACE(std::to_string(screen.rows) + "x" + std::to_string(screen.columns));
    std::istringstream text(pairingText(link, screen));
    std::vector<std::string> plain;
    std::vector<std::string> code;
    for (std::string line; std::getline(text, line);) {
      (line.starts_with('\x1B') ? code : plain).push_back(line);
    }
    EXPECT_EQ(code.size(), codeLines);
    EXPECT_EQ(plain.size(), isBeside ? 1U : 2U);
    EXPECT_EQ(plain.back(), link);
    if (code.empty()) {
      EXPECT_NE(plain.front().find("43 by 24"), std::string::npos);
    } else {
      EXPECT_EQ(scanned(modulesOf(code)), link);
      EXPECT_EQ(code.at(1).ends_with("phone,"), isBeside);
      // On 24 lines the link scrolls out of sight, and stands beside the code too.
      EXPECT_EQ(code.at(5).ends_with(link.substr(0, 33)), isBeside && screen.rows == 24);
    }
  }
  EXPECT_EQ(pairingText("link", std::nullopt), "Open this link on your phone:\nlink\n");
}

}  // namespace
}  // namespace orvik
