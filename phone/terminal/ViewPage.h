#pragma once

#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace orvik {

/// One line for the terminal: fit to be shown, without any styling of its own.
struct ViewLine {
  /// Emphasised where the terminal can: a name or a label, with the blanks that follow it.
  std::string heading;
  std::string body;
  /// The body reports trouble.
  bool attention = false;
  /// Nothing has come for a while that says whether it is still so.
  bool isOld = false;

  bool operator==(const ViewLine&) const = default;
};

/// Lays out labelled groups of readings for a width: labels in a column of their own, or above
/// their group where the page is too narrow for that. No line is wider than the page.
class ViewPage {
 public:
  /// `width` in columns; below 1 counts as 1.
  explicit ViewPage(int width);

  /// A line by itself, cut to the width.
  void line(ViewLine line);
  /// The items side by side, on as many lines as they need; nothing when there are none.
  void group(std::string_view label, const std::vector<std::string>& items);
  /// One item per line.
  void rows(std::string_view label, const std::vector<std::string>& items);
  /// One line per item, each with a mark whether it reports trouble.
  void rows(std::string_view label, const std::vector<std::pair<std::string, bool>>& items);

  /// Columns that a group has for its items.
  [[nodiscard]] int bodyWidth() const;

  std::vector<ViewLine> lines;

 private:
  int width;
  int labelWidth;
};

}  // namespace orvik
