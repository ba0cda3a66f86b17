#include "phone/terminal/ViewPage.h"

#include <algorithm>

#include "phone/terminal/DisplayText.h"

namespace orvik {

namespace {

/// The longest label, and two blanks.
constexpr int labelColumn = 11;
/// Narrower pages have the labels above their groups, which are indented by two columns instead.
constexpr int narrow = 36;
constexpr int indent = 2;
constexpr std::string_view separator = " · ";

}  // namespace

ViewPage::ViewPage(int requested)
    : width(std::max(requested, 1)), labelWidth(width < narrow ? indent : labelColumn) {}

int ViewPage::bodyWidth() const { return std::max(width - labelWidth, 1); }

void ViewPage::line(ViewLine line) {
  line.heading = clipped(line.heading, width);
  line.body = clipped(line.body, width - columnsOf(line.heading));
  lines.push_back(std::move(line));
}

void ViewPage::group(std::string_view label, const std::vector<std::string>& items) {
  std::vector<std::string> flowed;
  for (const std::string& item : items) {
    const int needed = columnsOf(separator) + columnsOf(item);
    if (flowed.empty() || columnsOf(flowed.back()) + needed > bodyWidth()) {
      flowed.push_back(item);
    } else {
      flowed.back() += std::string(separator) + item;
    }
  }
  rows(label, flowed);
}

void ViewPage::rows(std::string_view label, const std::vector<std::string>& items) {
  std::vector<std::pair<std::string, bool>> untroubled;
  untroubled.reserve(items.size());
  for (const std::string& item : items) {
    untroubled.emplace_back(item, false);
  }
  rows(label, untroubled);
}

void ViewPage::rows(std::string_view label,
                    const std::vector<std::pair<std::string, bool>>& items) {
  if (items.empty()) {
    return;
  }
  std::string heading(label);
  if (labelWidth == indent) {
    line({heading, "", false});
    heading.clear();
  }
  for (const auto& [item, attention] : items) {
    line({padded(heading, labelWidth), item, attention});
    heading.clear();
  }
}

}  // namespace orvik
