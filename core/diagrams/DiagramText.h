#pragma once

#include <functional>
#include <string>
#include <string_view>
#include <vector>

// The words of a diagram as lines that fit where they are shown. Knows nothing of how lines are drawn. All sizes are in
// canvas units; widths are estimates on the wide side.
namespace vesk::diagramText {

inline constexpr double bodySize = 14;  // of letters
inline constexpr double lineSpacing = 20.0 / 14;

struct Style {
  bool isBold = false;
  bool isItalic = false;
  bool isCode = false;
  bool isStruck = false;
  bool isLink = false;
  bool operator==(const Style&) const = default;
};

// Words that look alike.
struct Run {
  std::string text = {};
  Style style = {};
};

struct Line {
  std::string marker = {};  // of a list's item, where the line begins
  std::vector<Run> runs = {};
  double indent = 0;  // of the runs, for the marker and outer lists
  double width = 0;   // of the runs
  double size = bodySize;
  double top = 0;  // from that of the block
  double height = 0;
  bool isQuote = false;
};

struct Block {
  std::vector<Line> lines = {};
  double width = 0;
  double height = 0;
  bool isProse = true;          // nothing but sentences: no lists, quotes or code, which begin at the left
  bool isCut = false;           // there is more than fits; the last line ends in "…"
  bool hasBrokenWords = false;  // words that no line was wide enough for
};

// Where a block has to fit.
struct Room {
  double height = 0;
  std::function<double(double top, double bottom)> width = {};  // of a line between these two, from the block's top
};

Room rectangle(double width, double height);

// Markdown as a node shows it: line breaks as they stand; headings, lists, boxes, quotes, fenced code; bold, italic,
// struck and monospaced words; links by their words. Of very long texts only the beginning is looked at.
Block markdown(std::string_view text, const Room& room);

// A name or a label as it stands.
Block plain(std::string_view text, const Room& room, double size = bodySize, const Style& style = {});

}  // namespace vesk::diagramText
