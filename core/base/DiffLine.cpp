#include "core/base/DiffLine.h"

#include <algorithm>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <span>

#include "core/base/Text.h"

namespace vesk {

namespace {

using Lines = std::span<const std::string_view>;
using Kind = DiffLine::Kind;
using Bits = std::vector<std::uint64_t>;

constexpr std::size_t mostLines = 2000;

std::vector<std::string_view> linesOf(std::string_view text) {
  if (text.empty()) return {};
  return text::split(text, '\n');
}

// A common end is not to be cut off as well: of several longest subsequences the walk could then find another.
std::size_t commonBeginning(Lines before, Lines after) {
  const auto end = std::mismatch(before.begin(), before.end(), after.begin(), after.end());
  return static_cast<std::size_t>(end.first - before.begin());
}

// The table of the longest common subsequences, of which no more is kept than the walk through it asks for.
//
// Let L(i, j) be the length of the longest one from old line i and new line j on. Where these lines differ, it is the
// larger of L(i + 1, j) and L(i, j + 1), and the walk adds the new line only when the former is the smaller: when
// L(i + 1, j) < L(i, j), which is to say that the old line is needed to reach L(i, j). One bit a cell tells that.
//
// The rows are made from the last one up, 64 cells at a time. What has to be known of the row below are its level
// cells, those with L(i, j) = L(i, j + 1), as the bits of one long number, the last new line lowest. The old line is
// needed at the level cells where it occurs, and from there on through all level cells up to the next that isn't level:
// just as the carries run when the bits where it occurs are added. (M. Crochemore, C. S. Iliopoulos, Y. J. Pinzon,
// J. F. Reid: "A fast and practical bit-vector algorithm for the longest common subsequence problem", 2001. They keep
// the length; here the carries of every row are kept.)
class CommonLines {
 public:
  CommonLines(Lines before, Lines after);

  bool areSame(std::size_t i, std::size_t j) const { return before_[i] == after_[j]; }

  // Whether fewer lines are in common when old line `i` is left out, of those from there and new line `j` on.
  bool isNeeded(std::size_t i, std::size_t j) const;

 private:
  void number(Lines before, Lines after);
  std::vector<Bits> occurrences() const;

  std::vector<std::size_t> before_;  // numbers in place of the lines, equal where the lines are
  std::vector<std::size_t> after_;
  std::vector<Bits> needed_;  // by old line; empty for a line that the new text doesn't have
};

// Counted from the end of the text.
std::size_t bitOf(std::size_t line, std::size_t lineCount) { return lineCount - 1 - line; }

// Makes `level` of the row below that of the row of an old line, given where that occurs. Returns the cells where the
// old line is needed.
Bits addRow(const Bits& occurrences, Bits& level) {
  Bits needed(level.size());
  std::uint64_t carry = 0;
  for (std::size_t word = 0; word < level.size(); ++word) {
    const std::uint64_t below = level[word];
    const std::uint64_t met = below & occurrences[word];
    const std::uint64_t partial = below + met;
    const std::uint64_t sum = partial + carry;
    carry = partial < below || sum < partial;
    needed[word] = met | (below & ~sum);
    level[word] = sum | (below & ~met);
  }
  return needed;
}

CommonLines::CommonLines(Lines before, Lines after) : needed_(before.size()) {
  number(before, after);
  const std::vector<Bits> cells = occurrences();
  Bits level((after.size() + 63) / 64, ~std::uint64_t{0});
  for (std::size_t i = before.size(); i-- > 0;) {
    const Bits& occurring = cells[before_[i]];
    if (!occurring.empty()) needed_[i] = addRow(occurring, level);
  }
}

// A line's number is where the old text first has it; lines that it doesn't have share the number after the last. The
// hash table is in one piece: with std::unordered_map, a node for each line, a comparison takes twice as long.
void CommonLines::number(Lines before, Lines after) {
  const std::size_t nowhere = before.size();
  std::vector<std::size_t> slots(std::bit_ceil(2 * before.size() + 1), nowhere);
  const std::size_t mask = slots.size() - 1;
  const auto slotOf = [&](std::string_view line) -> std::size_t& {
    std::size_t slot = std::hash<std::string_view>()(line) & mask;
    while (slots[slot] != nowhere && before[slots[slot]] != line) slot = (slot + 1) & mask;
    return slots[slot];
  };
  for (std::size_t i = 0; i < before.size(); ++i) {
    std::size_t& slot = slotOf(before[i]);
    if (slot == nowhere) slot = i;
    before_.push_back(slot);
  }
  for (const std::string_view line : after) after_.push_back(slotOf(line));
}

// The cells of a row where each line occurs, by its number; none for a line that the new text doesn't have.
std::vector<Bits> CommonLines::occurrences() const {
  std::vector<Bits> result(before_.size() + 1);
  for (std::size_t j = 0; j < after_.size(); ++j) {
    Bits& bits = result[after_[j]];
    bits.resize((after_.size() + 63) / 64);
    const std::size_t bit = bitOf(j, after_.size());
    bits[bit / 64] |= std::uint64_t{1} << bit % 64;
  }
  return result;
}

bool CommonLines::isNeeded(std::size_t i, std::size_t j) const {
  if (needed_[i].empty()) return false;
  const std::size_t bit = bitOf(j, after_.size());
  return (needed_[i][bit / 64] >> bit % 64 & 1) != 0;
}

// The kinds of the lines of the diff, in order.
std::vector<Kind> walk(Lines before, Lines after) {
  std::size_t i = 0;
  std::size_t j = 0;
  std::vector<Kind> kinds;
  if (before.size() <= mostLines && after.size() <= mostLines) {
    const std::size_t start = commonBeginning(before, after);
    kinds.assign(start, Kind::same);
    before = before.subspan(start);
    after = after.subspan(start);
    const CommonLines common(before, after);
    while (i < before.size() && j < after.size()) {
      const Kind kind = common.areSame(i, j) ? Kind::same : common.isNeeded(i, j) ? Kind::added : Kind::removed;
      kinds.push_back(kind);
      if (kind != Kind::added) ++i;
      if (kind != Kind::removed) ++j;
    }
  }
  kinds.insert(kinds.end(), before.size() - i, Kind::removed);
  kinds.insert(kinds.end(), after.size() - j, Kind::added);
  return kinds;
}

}  // namespace

std::vector<DiffLine> DiffLine::compare(std::string_view before, std::string_view after) {
  const auto oldLines = linesOf(before);
  const auto newLines = linesOf(after);
  const std::vector<Kind> kinds = walk(oldLines, newLines);
  std::vector<DiffLine> diff;
  diff.reserve(kinds.size());
  std::size_t i = 0;
  std::size_t j = 0;
  for (const Kind kind : kinds) {
    diff.push_back({kind, std::string(kind == Kind::added ? newLines[j] : oldLines[i])});
    if (kind != Kind::added) ++i;
    if (kind != Kind::removed) ++j;
  }
  return diff;
}

}  // namespace vesk
