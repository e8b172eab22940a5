#pragma once

#include <cstddef>
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

// One line of a text, before it is wrapped.
struct Paragraph {
  struct Span {
    std::size_t end = 0;  // in the text
    Style style = {};
  };

  std::string marker = {};
  std::string text = {};
  std::vector<Span> spans = {};
  std::vector<std::size_t> lineEnds = {};  // where it may be wrapped
  double indent = 0;
  double size = bodySize;
  double gap = 0;  // above it
  bool isQuote = false;
};

// Words to be shown, read once and then set in as many rooms as it takes to find the one they look best in.
class Words {
 public:
  explicit Words(std::vector<Paragraph> paragraphs, bool isProse = true);

  Block in(const Room& room) const;

 private:
  std::vector<Paragraph> paragraphs_;
  bool isProse_;
};

// Markdown as a node shows it: line breaks as they stand; headings, lists, boxes, quotes, fenced code; bold, italic,
// struck and monospaced words; links by their words. Of very long texts only the beginning is looked at.
Words markdown(std::string_view text);

// A name or a label as it stands.
Words plain(std::string_view text, double size = bodySize, const Style& style = {});

}  // namespace vesk::diagramText
