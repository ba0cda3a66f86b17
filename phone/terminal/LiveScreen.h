#pragma once

#include <string>
#include <vector>

#include "phone/terminal/ViewPage.h"

namespace orvik {

/// The size of a terminal in character cells, both at least 1.
struct ScreenSize {
  int rows;
  int columns;
};

/// Repaints a block of lines in place on a terminal that scrolls on: what stood above stays, and
/// the last state of the block stays when the program ends. Gives out the bytes; writing each
/// paint in one piece keeps it free of flicker.
class LiveScreen {
 public:
  /// `isStyled`: headings are bold, and trouble is yellow.
  explicit LiveScreen(bool isStyled) : isStyled(isStyled) {}

  /// Replaces the lines painted before. Hides the cursor; never takes more rows than there are,
  /// nor the last column, where terminals differ in when they wrap.
  [[nodiscard]] std::string paint(const std::vector<ViewLine>& lines, ScreenSize size);

  /// Leaves the block: the cursor is shown again, below it. Painting again begins a new block.
  [[nodiscard]] std::string end();

 private:
  [[nodiscard]] std::string styled(const ViewLine& line) const;
  [[nodiscard]] int rowsAbove(int columns) const;

  const bool isStyled;
  /// The widths of the lines that stand on the terminal; empty before the first paint.
  std::vector<int> widths;
};

}  // namespace orvik
