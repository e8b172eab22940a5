#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace vesk {

// A pipe table as screens show it: a header row, a row of dashes with colons for the alignment, and rows.
struct MarkdownTable {
  enum class Alignment { none, left, center, right };

  std::vector<std::string> header = {};
  std::vector<Alignment> alignments = {};           // one a column
  std::vector<std::vector<std::string>> rows = {};  // at most as long as the header; cells may be missing

  // The table whose header is the first line; nullopt when that and the second line are no table. Ends at the first
  // line without a bar. A bar behind a backslash, or within inline code, separates nothing.
  static std::optional<MarkdownTable> parse(std::string_view text);

  bool operator==(const MarkdownTable&) const = default;
};

}  // namespace vesk
