#include "app/Table.h"

#include <algorithm>
#include <numeric>
#include <utility>

namespace vesk::app {

namespace {

constexpr std::size_t gap = 2;
constexpr std::size_t leastWidth = 12;  // of the column that is shortened

}  // namespace

void Table::add(std::vector<Cell> row) {
  for (Cell& cell : row) cell.text = safe(cell.text);
  rows_.push_back(std::move(row));
}

std::vector<std::size_t> Table::widths(const Terminal& terminal) const {
  std::vector<std::size_t> widths(rows_.empty() ? 0 : rows_.front().size());
  for (const auto& row : rows_)
    for (std::size_t i = 0; i < row.size(); ++i) widths[i] = std::max(widths[i], columns(row[i].text));
  if (!terminal.width || flexible_ >= widths.size()) return widths;
  const std::size_t whole = std::accumulate(widths.begin(), widths.end(), gap * (widths.size() - 1));
  const std::size_t others = whole - widths[flexible_];
  const std::size_t left = *terminal.width > others ? *terminal.width - others : 0;
  widths[flexible_] = std::min(widths[flexible_], std::max(left, leastWidth));
  return widths;
}

std::string Table::text(const Terminal& terminal) const {
  const auto widths = this->widths(terminal);
  std::string lines;
  for (const auto& row : rows_) {
    std::size_t owed = 0;  // spaces that come before the next text, and not at a line's end
    for (std::size_t i = 0; i < row.size(); ++i) {
      const std::string shown = i == flexible_ ? shortened(row[i].text, widths[i]) : row[i].text;
      if (!shown.empty()) lines.append(std::exchange(owed, 0), ' ');
      lines += styled(shown, row[i].style, terminal);
      owed += widths[i] - columns(shown) + gap;
    }
    lines += '\n';
  }
  return lines;
}

}  // namespace vesk::app
