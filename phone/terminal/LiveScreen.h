#pragma once

#include <string>
#include <vector>

#include "core/system/TextScreen.h"
#include "phone/terminal/ViewPage.h"

namespace orvik {

/// Shows lines on a terminal's alternate screen: what stood there before comes back when the
/// program ends. Gives out the bytes; writing each paint in one piece keeps it free of flicker.
class LiveScreen {
 public:
  /// `isStyled`: headings are bold, trouble is yellow, and what is old is faint.
  explicit LiveScreen(bool isStyled) : isStyled(isStyled) {}

  /// Replaces the lines painted before. Hides the cursor; never takes more rows than there are,
  /// nor the last column, where terminals differ in when they wrap.
  [[nodiscard]] std::string paint(const std::vector<ViewLine>& lines, ScreenSize size);

  /// Leaves the alternate screen and shows the cursor again. Painting again takes it anew.
  [[nodiscard]] std::string end();

 private:
  [[nodiscard]] std::string styled(const ViewLine& line) const;

  const bool isStyled;
  bool isBegun = false;
};

}  // namespace orvik
