#include "app/DayChart.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <utility>

#include <fmt/format.h>

#include "app/Days.h"

namespace vesk::app {

namespace {

class DayChart {
 public:
  explicit DayChart(const std::vector<DayCount>& days) : days_(days) {
    for (const DayCount& day : days) {
      most_ = std::max(most_, day.count);
      width_ = std::max(width_, numberOf(day).size() + 1);
    }
  }

  std::string bars() const {
    std::string lines;
    for (std::size_t row = height + 1; row-- > 0;) lines += line([&](const DayCount& day) { return cell(day, row); });
    return lines;
  }

  std::string labels() const {
    return line([](const DayCount& day) { return shortDay(day.day).substr(0, 2); }) +
           line([](const DayCount& day) { return fmt::format("{}", static_cast<unsigned>(day.day.day())); });
  }

 private:
  static constexpr std::size_t height = 4;  // lines
  static constexpr std::size_t eighths = 8;

  // Four digits, or the chart would be wider than many terminals are.
  static std::string numberOf(const DayCount& day) {
    constexpr std::size_t longest = 9999;
    if (day.count == 0) return "";
    return day.count <= longest ? fmt::format("{}", day.count) : fmt::format("{}k", day.count / 1000);
  }

  // How high the bar is, in eighths of a line; something is always to be seen of it.
  std::size_t level(const DayCount& day) const {
    return day.count == 0 ? 0 : std::max<std::size_t>(1, height * eighths * day.count / most_);
  }

  // What stands in a line of the chart, counted from below.
  std::string cell(const DayCount& day, std::size_t row) const {
    constexpr std::array blocks = {"", "▁▁", "▂▂", "▃▃", "▄▄", "▅▅", "▆▆", "▇▇", "██"};
    const std::size_t top = (level(day) + eighths - 1) / eighths;
    if (row >= top) return row == top ? numberOf(day) : "";
    return blocks[std::min(eighths, level(day) - row * eighths)];
  }

  template <typename TextOf>
  std::string line(TextOf textOf) const {
    std::string text;
    std::size_t owed = 0;  // spaces that come before the next text, and not at the line's end
    for (const DayCount& day : days_) {
      const std::string shown = textOf(day);
      owed += width_ - columns(shown);
      if (!shown.empty()) text.append(std::exchange(owed, 0), ' ').append(shown);
    }
    return text + "\n";
  }

  const std::vector<DayCount>& days_;
  std::size_t most_ = 1;
  std::size_t width_ = 4;  // columns of a day, with the gap before it
};

}  // namespace

std::string dayChart(const std::vector<DayCount>& days, const Terminal& terminal) {
  const DayChart chart(days);
  return chart.bars() + styled(chart.labels(), Style::faint, terminal);
}

}  // namespace vesk::app
