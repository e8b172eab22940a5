#include "core/diagrams/DiagramText.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <optional>
#include <utility>

#include "core/base/Ascii.h"
#include "core/base/Text.h"
#include "core/base/Unicode.h"
#include "core/diagrams/TextWidth.h"

namespace vesk::diagramText {
namespace {

constexpr std::size_t mostBytes = 50'000;  // of a node's text: far more than can be read in a picture
constexpr std::string_view ellipsis = "…";
constexpr double listIndent = 20;
constexpr double quoteIndent = 14;

void add(Paragraph& paragraph, std::string_view words, const Style& style) {
  if (words.empty()) return;
  paragraph.text += words;
  if (!paragraph.spans.empty() && paragraph.spans.back().style == style) {
    paragraph.spans.back().end = paragraph.text.size();
  } else {
    paragraph.spans.push_back({paragraph.text.size(), style});
  }
}

double widthOf(char32_t c, const Style& style) {
  const double width = textWidth::of(c);
  if (style.isCode && width > 0) return width > 0.95 ? 2 * textWidth::monospaced : textWidth::monospaced;
  return style.isBold ? width * textWidth::boldFactor : width;
}

double widthOf(std::string_view text, const Style& style) {
  double width = 0;
  for (std::size_t i = 0; i < text.size();) {
    const unicode::CodePoint c = unicode::decode(text, i);
    width += widthOf(c.value, style);
    i += c.length;
  }
  return width;
}

// Reads the words of a line: what is bold, italic, code or a link. A sign that is never closed stands for itself.
class InlineReader {
 public:
  InlineReader(std::string_view text, Paragraph& paragraph, const Style& style)
      : text_(text), paragraph_(paragraph), style_(style), base_(style) {}

  void read() {
    while (position_ < text_.size()) {
      if (readEscape() || readCode() || readWikiLink() || readLink() || readEmphasis()) continue;
      plain_ += text_[position_++];
    }
    flush();
  }

 private:
  // The next place of a sign. Remembers it, so that many signs that are never closed cost no more than a few.
  class Finder {
   public:
    explicit Finder(std::string_view sign) : sign_(sign) {}
    std::size_t next(std::string_view text, std::size_t from) {
      if (!known_ || (*known_ != std::string_view::npos && *known_ < from)) known_ = text.find(sign_, from);
      return *known_;
    }

   private:
    std::string_view sign_;
    std::optional<std::size_t> known_ = {};
  };

  struct Emphasis {
    Finder closer;
    std::string_view sign;
    bool Style::*flag;
    bool isOpen = false;
  };

  bool startsWith(std::string_view sign) const { return text_.substr(position_).starts_with(sign); }

  char at(std::size_t position) const { return position < text_.size() ? text_[position] : ' '; }

  void flush() {
    add(paragraph_, plain_, style_);
    plain_.clear();
  }

  void addLink(std::string_view words, std::size_t end) {
    flush();
    Style style = style_;
    style.isLink = true;
    InlineReader(words, paragraph_, style).read();  // holds no other link
    position_ = end;
  }

  bool readEscape() {
    constexpr std::string_view escapable = "\\`*_{}[]()#+-.!|~>";
    if (text_[position_] != '\\' || position_ + 1 >= text_.size()) return false;
    if (escapable.find(text_[position_ + 1]) == std::string_view::npos) return false;
    plain_ += text_[position_ + 1];
    position_ += 2;
    return true;
  }

  bool readCode() {
    if (text_[position_] != '`') return false;
    const std::size_t end = backtick_.next(text_, position_ + 1);
    if (end == std::string_view::npos || end == position_ + 1) return false;
    flush();
    Style style = style_;
    style.isCode = true;
    add(paragraph_, text_.substr(position_ + 1, end - position_ - 1), style);
    position_ = end + 1;
    return true;
  }

  // [[Note]], [[Note#Part|words]], ![[image.png]]
  bool readWikiLink() {
    const std::size_t open = position_ + (text_[position_] == '!' ? 1 : 0);
    if (!text_.substr(open).starts_with("[[")) return false;
    const std::size_t close = doubleBracket_.next(text_, open + 2);
    if (close == std::string_view::npos) return false;
    std::string_view words = text_.substr(open + 2, close - open - 2);
    if (words.empty() || words.find('[') != std::string_view::npos) return false;
    if (const std::size_t bar = words.find('|'); bar != std::string_view::npos) words.remove_prefix(bar + 1);
    addLink(text::trimSpaces(words), close + 2);
    return true;
  }

  // [words](address), ![words](address)
  bool readLink() {
    const std::size_t open = position_ + (text_[position_] == '!' ? 1 : 0);
    if (at(open) != '[') return false;
    const std::size_t middle = linkMiddle_.next(text_, open + 1);
    if (middle == std::string_view::npos) return false;
    const std::size_t close = parenthesis_.next(text_, middle + 2);
    if (close == std::string_view::npos) return false;
    const std::string_view words = text_.substr(open + 1, middle - open - 1);
    if (words.empty() || words.find('[') != std::string_view::npos) return false;
    addLink(words, close + 1);
    return true;
  }

  bool readEmphasis() {
    for (Emphasis& emphasis : emphases_) {
      if (!startsWith(emphasis.sign)) continue;
      if (!toggle(emphasis)) {
        plain_ += emphasis.sign;
        position_ += emphasis.sign.size();
      }
      return true;
    }
    return false;
  }

  bool toggle(Emphasis& emphasis) {
    const std::size_t behind = position_ + emphasis.sign.size();
    const char before = position_ == 0 ? ' ' : text_[position_ - 1];
    const bool isUnderscore = emphasis.sign.front() == '_';
    if (emphasis.isOpen) {
      if (before == ' ' || (isUnderscore && isWord(at(behind)))) return false;
    } else {
      if (at(behind) == ' ' || (isUnderscore && isWord(before))) return false;
      if (emphasis.closer.next(text_, behind + 1) == std::string_view::npos) return false;
    }
    flush();
    emphasis.isOpen = !emphasis.isOpen;
    style_.*emphasis.flag = emphasis.isOpen || base_.*emphasis.flag;
    position_ = behind;
    return true;
  }

  static bool isWord(char c) { return !ascii::isAscii(c) || unicode::isWord(static_cast<unsigned char>(c)); }

  std::string_view text_;
  Paragraph& paragraph_;
  Style style_;
  Style base_;
  std::string plain_ = {};
  std::size_t position_ = 0;
  Finder backtick_{"`"};
  Finder doubleBracket_{"]]"};
  Finder linkMiddle_{"]("};
  Finder parenthesis_{")"};
  std::array<Emphasis, 5> emphases_ = {
      Emphasis{Finder("**"), "**", &Style::isBold}, Emphasis{Finder("__"), "__", &Style::isBold},
      Emphasis{Finder("~~"), "~~", &Style::isStruck}, Emphasis{Finder("*"), "*", &Style::isItalic},
      Emphasis{Finder("_"), "_", &Style::isItalic}};
};

// Sets paragraphs one below the other until the room is used up.
class Setting {
 public:
  Setting(const Room& room, bool isProse) : room_(room) { block_.isProse = isProse; }

  bool isFull() const { return block_.isCut; }

  void add(const Paragraph& paragraph) {
    bool isFirst = true;
    block_.height += paragraph.gap;
    for (std::size_t begin = 0; (isFirst || begin < paragraph.text.size()) && !isFull(); isFirst = false) {
      Line line;
      line.size = paragraph.size;
      line.height = paragraph.size * lineSpacing;
      line.top = block_.height;
      line.indent = paragraph.indent;
      line.isQuote = paragraph.isQuote;
      if (isFirst) line.marker = paragraph.marker;
      const double width = room_.width(line.top, line.top + line.height) - line.indent;
      const bool hasRoom = line.top + line.height <= room_.height + 0.01 && width >= paragraph.size * 0.7;
      if (!hasRoom) return cut();
      const Piece piece = fitting(paragraph, begin, width);
      setRuns(line, paragraph, begin, piece.end);
      begin = piece.next;
      put(std::move(line));
    }
  }

  Block done() && { return std::move(block_); }

 private:
  struct Piece {
    std::size_t end = 0;   // of what the line shows
    std::size_t next = 0;  // where the next one begins
  };

  // What of a paragraph fits in a line: up to the last place where it may end; part of a word where there is none.
  Piece fitting(const Paragraph& paragraph, std::size_t begin, double width) {
    const std::string_view text = paragraph.text;
    Piece best{begin, begin};
    double used = 0;
    auto end = std::upper_bound(paragraph.lineEnds.begin(), paragraph.lineEnds.end(), begin);
    for (; end != paragraph.lineEnds.end(); ++end) {
      const std::string_view word = withoutSpaces(text.substr(best.next, *end - best.next));
      const std::size_t wordEnd = best.next + word.size();
      if (used + partWidth(paragraph, best.next, wordEnd) > width) break;
      used += partWidth(paragraph, best.next, *end);
      best = {wordEnd, *end};
    }
    return best.next > begin ? best : partOfWord(paragraph, begin, width);
  }

  // Spaces at the end of a line take no room.
  static std::string_view withoutSpaces(std::string_view word) {
    return word.substr(0, word.find_last_not_of(" \t") + 1);
  }

  // The width of a part of a paragraph.
  static double partWidth(const Paragraph& paragraph, std::size_t begin, std::size_t end) {
    double width = 0;
    for (auto span = spanAt(paragraph, begin); begin < end; ++span) {
      const std::size_t until = std::min(end, span->end);
      width += widthOf(std::string_view(paragraph.text).substr(begin, until - begin), span->style);
      begin = until;
    }
    return width * paragraph.size;
  }

  Piece partOfWord(const Paragraph& paragraph, std::size_t begin, double width) {
    block_.hasBrokenWords = true;
    const std::string_view text = paragraph.text;
    auto span = spanAt(paragraph, begin);
    std::size_t end = begin;
    for (double used = 0; end < text.size();) {
      const unicode::CodePoint c = unicode::decode(text, end);
      if (end >= span->end) ++span;
      used += widthOf(c.value, span->style) * paragraph.size;
      if (used > width) break;
      end += c.length;
    }
    const std::string_view rest = text.substr(begin);
    std::string_view part = text::firstBytes(rest, end - begin);
    if (part.empty()) part = text::firstCharacters(rest, 1);
    return {begin + part.size(), begin + part.size()};
  }

  static std::vector<Paragraph::Span>::const_iterator spanAt(const Paragraph& paragraph, std::size_t position) {
    return std::upper_bound(paragraph.spans.begin(), paragraph.spans.end(), position,
                            [](std::size_t value, const Paragraph::Span& span) { return value < span.end; });
  }

  static void setRuns(Line& line, const Paragraph& paragraph, std::size_t begin, std::size_t end) {
    for (auto span = spanAt(paragraph, begin); begin < end; ++span) {
      const std::size_t until = std::min(end, span->end);
      line.runs.push_back({paragraph.text.substr(begin, until - begin), span->style});
      line.width += widthOf(line.runs.back().text, span->style) * line.size;
      begin = until;
    }
  }

  void put(Line line) {
    block_.height = line.top + line.height;
    block_.width = std::max(block_.width, line.indent + line.width);
    block_.lines.push_back(std::move(line));
  }

  // Ends the last line in "…", in place of its last characters where they leave no room for it.
  void cut() {
    block_.isCut = true;
    if (block_.lines.empty()) return;
    Line& line = block_.lines.back();
    block_.height = line.top + line.height;
    const double sign = textWidth::of(ellipsis) * line.size;
    const double width = room_.width(line.top, line.top + line.height) - line.indent - sign;
    while (line.width > width && !line.runs.empty()) dropLastCharacter(line);
    while (!line.runs.empty() && std::string_view(" ,;:").find(line.runs.back().text.back()) != std::string_view::npos)
      dropLastCharacter(line);
    if (line.runs.empty()) line.runs.push_back({});
    line.runs.back().text += ellipsis;
    line.width += sign;
    block_.width = std::max(block_.width, line.indent + line.width);
  }

  static void dropLastCharacter(Line& line) {
    Run& run = line.runs.back();
    const std::string_view rest = text::firstBytes(run.text, run.text.size() - 1);
    line.width -= widthOf(std::string_view(run.text).substr(rest.size()), run.style) * line.size;
    run.text.resize(rest.size());
    if (run.text.empty()) line.runs.pop_back();
  }

  const Room& room_;
  Block block_ = {};
};

// The level of a heading's line, from 1; 0 for any other.
std::size_t headingLevel(std::string_view line) {
  const std::size_t level = std::min(line.find_first_not_of('#'), line.size());
  return level <= 6 && level < line.size() && line[level] == ' ' ? level : 0;
}

double headingSize(std::size_t level) {
  constexpr std::array<double, 3> sizes = {20, 17.5, 15.5};
  return level <= sizes.size() ? sizes[level - 1] : bodySize;
}

// Takes the marker of a list's item off the line: "- ", "12. ", "- [ ] ". Empty for any other line.
std::string takeMarker(std::string_view& line) {
  const auto take = [&](std::size_t length, std::string marker) {
    line = text::trimSpaces(line.substr(length));
    return marker;
  };
  if (line.size() >= 2 && std::string_view("-*+").find(line[0]) != std::string_view::npos && line[1] == ' ') {
    if (line.substr(2).starts_with("[ ] ")) return take(5, "☐");
    if (line.substr(2).starts_with("[x] ") || line.substr(2).starts_with("[X] ")) return take(5, "☑");
    return take(1, "•");
  }
  const auto digits =
      static_cast<std::size_t>(std::find_if_not(line.begin(), line.end(), ascii::isDigit) - line.begin());
  if (digits == 0 || digits > 9 || digits + 1 >= line.size()) return {};
  if ((line[digits] != '.' && line[digits] != ')') || line[digits + 1] != ' ') return {};
  return take(digits + 1, std::string(line.substr(0, digits + 1)));
}

// The columns of white space that a line begins with.
std::size_t indentOf(std::string_view line) {
  std::size_t columns = 0;
  for (const char c : line.substr(0, std::min(line.find_first_not_of(" \t"), line.size())))
    columns += c == '\t' ? 4 : 1;
  return columns;
}

std::string withoutTabs(std::string_view line) {
  std::string text;
  for (const char c : line) {
    if (c == '\t') {
      text += "    ";
    } else {
      text += c;
    }
  }
  return text;
}

// Reads Markdown line by line.
class BlockReader {
 public:
  Words read(std::string_view text) {
    text = text::firstBytes(text, mostBytes);
    for (const std::string_view line : text::split(text, '\n')) readLine(text::trim(line, "\r"));
    return Words(std::move(paragraphs_), isProse_);
  }

 private:
  void readLine(std::string_view line) {
    const std::string_view words = text::trim(line, " \t");
    if (words.starts_with("```") || words.starts_with("~~~")) {
      isCode_ = !isCode_;
    } else if (isCode_) {
      addCode(line);
    } else if (words.empty()) {
      gap_ += bodySize * lineSpacing / 2;
    } else if (const std::size_t level = headingLevel(words); level > 0) {
      addHeading(words.substr(level), level);
    } else {
      addWords(words, indentOf(line));
    }
  }

  void addCode(std::string_view line) {
    Paragraph paragraph;
    diagramText::add(paragraph, withoutTabs(line), {.isCode = true});
    isProse_ = false;
    add(std::move(paragraph));
  }

  void addHeading(std::string_view words, std::size_t level) {
    Paragraph paragraph;
    paragraph.size = headingSize(level);
    InlineReader(text::trimSpaces(words), paragraph, {.isBold = true}).read();
    add(std::move(paragraph));
  }

  void addWords(std::string_view words, std::size_t indent) {
    Paragraph paragraph;
    while (words.starts_with('>')) {
      words = text::trim(words.substr(1), " \t");
      paragraph.isQuote = true;
    }
    if (paragraph.isQuote) paragraph.indent = quoteIndent;
    paragraph.marker = takeMarker(words);
    if (!paragraph.marker.empty()) {
      const double marker = (textWidth::of(paragraph.marker) + 0.4) * bodySize;
      paragraph.indent +=
          std::max(listIndent, marker) + static_cast<double>(std::min<std::size_t>(indent, 24)) / 2 * 10;
    }
    isProse_ = isProse_ && !paragraph.isQuote && paragraph.marker.empty();
    InlineReader(words, paragraph, {.isItalic = paragraph.isQuote}).read();
    add(std::move(paragraph));
  }

  void add(Paragraph paragraph) {
    paragraph.gap = std::exchange(gap_, 0);
    paragraphs_.push_back(std::move(paragraph));
  }

  std::vector<Paragraph> paragraphs_;
  double gap_ = 0;
  bool isProse_ = true;
  bool isCode_ = false;
};

}  // namespace

Room rectangle(double width, double height) {
  return {height, [width](double, double) { return width; }};
}

Words::Words(std::vector<Paragraph> paragraphs, bool isProse) : paragraphs_(std::move(paragraphs)), isProse_(isProse) {
  for (Paragraph& paragraph : paragraphs_) paragraph.lineEnds = text::lineEnds(paragraph.text);
}

Block Words::in(const Room& room) const {
  Setting setting(room, isProse_);
  for (const Paragraph& paragraph : paragraphs_) {
    if (setting.isFull()) break;
    setting.add(paragraph);
  }
  return std::move(setting).done();
}

Words markdown(std::string_view text) { return BlockReader().read(text::trim(text, "\r\n\t ")); }

Words plain(std::string_view text, double size, const Style& style) {
  Paragraph paragraph;
  paragraph.size = size;
  add(paragraph, text::firstBytes(text, mostBytes), style);
  return Words({std::move(paragraph)});
}

}  // namespace vesk::diagramText
