#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "app/Terminal.h"

namespace vesk::app {

// Rows of text in aligned columns. Whatever the cells hold is made safe for a terminal.
class Table {
 public:
  struct Cell {
    std::string text = {};
    Style style = Style::plain;
  };

  // Where the rows are too wide for the terminal, the texts of the column `flexible` are shortened.
  explicit Table(std::size_t flexible) : flexible_(flexible) {}

  // Every row has the same number of cells.
  void add(std::vector<Cell> row);

  // The rows, a line each.
  std::string text(const Terminal& terminal) const;

 private:
  std::vector<std::size_t> widths(const Terminal& terminal) const;

  std::size_t flexible_;
  std::vector<std::vector<Cell>> rows_;
};

}  // namespace vesk::app
