#include "core/vault/MarkdownTable.h"

#include <cstddef>

#include "core/base/Text.h"

namespace vesk {

namespace {

using Alignment = MarkdownTable::Alignment;

std::vector<std::string> cells(std::string_view line) {
  line = text::trimWhitespace(line);
  if (line.starts_with('|')) line.remove_prefix(1);
  std::vector<std::string> found;
  std::string cell;
  bool inCode = false;
  for (std::size_t i = 0; i < line.size(); ++i) {
    if (line[i] == '\\' && i + 1 < line.size() && line[i + 1] == '|') {
      cell += line[++i];
    } else if (line[i] == '|' && !inCode) {
      found.emplace_back(text::trimWhitespace(cell));
      cell.clear();
    } else {
      // A backtick that nothing closes is a character like any other.
      if (line[i] == '`') inCode = !inCode && line.find('`', i + 1) != std::string_view::npos;
      cell += line[i];
    }
  }
  if (!text::trimWhitespace(cell).empty() || !line.ends_with('|')) found.emplace_back(text::trimWhitespace(cell));
  return found;
}

std::optional<Alignment> alignmentOf(std::string_view cell) {
  const bool left = cell.starts_with(':');
  const bool right = cell.size() > 1 && cell.ends_with(':');
  const std::string_view dashes = cell.substr(left, cell.size() - left - right);
  if (dashes.empty() || dashes.find_first_not_of('-') != std::string_view::npos) return std::nullopt;
  if (left && right) return Alignment::center;
  if (right) return Alignment::right;
  return left ? Alignment::left : Alignment::none;
}

std::optional<std::vector<Alignment>> alignmentRow(std::string_view line) {
  std::vector<Alignment> alignments;
  for (const std::string& cell : cells(line)) {
    const auto alignment = alignmentOf(cell);
    if (!alignment) return std::nullopt;
    alignments.push_back(*alignment);
  }
  return alignments;
}

}  // namespace

std::optional<MarkdownTable> MarkdownTable::parse(std::string_view text) {
  const auto lines = text::split(text, '\n');
  if (lines.size() < 2 || lines[0].find('|') == std::string_view::npos) return std::nullopt;
  auto alignments = alignmentRow(lines[1]);
  MarkdownTable table;
  table.header = cells(lines[0]);
  if (!alignments || alignments->size() != table.header.size()) return std::nullopt;
  table.alignments = std::move(*alignments);
  for (std::size_t i = 2; i < lines.size() && lines[i].find('|') != std::string_view::npos; ++i) {
    table.rows.push_back(cells(lines[i]));
    if (table.rows.back().size() > table.header.size()) table.rows.back().resize(table.header.size());
  }
  return table;
}

}  // namespace vesk
