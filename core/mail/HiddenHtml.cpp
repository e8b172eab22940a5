#include "core/mail/HiddenHtml.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <unordered_map>
#include <utility>
#include <vector>

#include "core/base/Ascii.h"
#include "core/mail/HtmlText.h"

namespace vesk::html {

namespace {

constexpr std::size_t none = std::string_view::npos;

// Real mail is nested some fifty deep. What follows when more is open counts as hidden.
constexpr std::size_t deepest = 10'000;

// How many elements at most are gone through to find those that go on behind an end tag.
constexpr std::size_t mostGoingOn = 8;

// The first eight letters of an element's name, in lower case: enough to tell elements apart.
using Name = std::uint64_t;

// Of a name in lower case.
constexpr Name nameOf(std::string_view letters) {
  Name name = 0;
  for (const char c : letters.substr(0, 8)) name = name << 8 | static_cast<unsigned char>(c);
  return name;
}

// Of a tag: "<TD align=left>", "</td>".
Name nameInTag(std::string_view tag) {
  tag.remove_prefix(tag.starts_with("</") ? 2 : 1);
  Name name = 0;
  for (const char c : tag.substr(0, std::min<std::size_t>(tag.find_first_of(" \t\r\n\f/>"), 8)))
    name = name << 8 | static_cast<unsigned char>(ascii::lower(c));
  return name;
}

template <std::size_t count>
constexpr std::array<Name, count> namesOf(const std::string_view (&letters)[count]) {
  std::array<Name, count> names = {};
  std::transform(letters, letters + count, names.begin(), nameOf);
  return names;
}

template <std::size_t count>
bool isOneOf(Name name, const std::array<Name, count>& names) {
  return std::find(names.begin(), names.end(), name) != names.end();
}

// Elements that have no end.
bool isVoid(Name name) {
  static constexpr auto names = namesOf(
      {"area", "base", "br", "col", "embed", "hr", "img", "input", "link", "meta", "param", "source", "track", "wbr"});
  return isOneOf(name, names);
}

// Elements whose contents aren't shown, and end at nothing but their own end tag.
bool isUnshown(Name name) {
  static constexpr auto names = namesOf({"style", "script", "title", "template", "noframes", "noembed", "iframe"});
  return isOneOf(name, names);
}

// Elements whose contents stand in for what is shown, or are shown on request.
bool isShownOtherwise(Name name, const Attributes& attributes, bool isInPicture) {
  static constexpr auto players = namesOf({"audio", "video", "canvas", "datalist"});
  static constexpr auto parts = namesOf({"desc", "metadata", "defs"});
  if (name == nameOf("dialog")) return !attributes.open;
  return isOneOf(name, players) || (isInPicture && isOneOf(name, parts));
}

// How deep in a table an element stands: from 1 for the table itself to 4 for a cell or caption; 5 for what is no part
// of one.
int depthInTable(Name name) {
  switch (name) {
    case nameOf("table"): return 1;
    case nameOf("tbody"):
    case nameOf("thead"):
    case nameOf("tfoot"): return 2;
    case nameOf("tr"): return 3;
    case nameOf("td"):
    case nameOf("th"):
    case nameOf("caption"): return 4;
    default: return 5;
  }
}

// Elements that hardly any end tag reaches out of.
bool isBarrier(Name name) {
  return name == nameOf("table") || name == nameOf("object") || name == nameOf("marquee") || name == nameOf("applet");
}

// Elements that go on behind the end of what they were begun in.
bool isFormatting(Name name) {
  static constexpr auto names =
      namesOf({"a", "b", "big", "code", "em", "font", "i", "nobr", "s", "small", "strike", "strong", "tt", "u"});
  return isOneOf(name, names);
}

// Elements that the end tag of what is neither a block nor formatting doesn't reach out of.
bool isBlock(Name name) {
  static constexpr auto names = namesOf(
      {"div",        "p",     "table", "tr",   "td",      "th",      "center", "ul",     "ol",    "li",      "dl",
       "dt",         "dd",    "h1",    "h2",   "h3",      "h4",      "h5",     "h6",     "body",  "form",    "pre",
       "blockquote", "tbody", "nav",   "main", "section", "article", "header", "footer", "aside", "details", "button"});
  return isOneOf(name, names);
}

// Behind the comment that begins at `begin` and isn't closed by "-->"; npos when it isn't closed at all.
std::size_t endOfOddComment(std::string_view html, std::size_t begin) {
  for (const std::string_view empty : {"<!-->", "<!--->"})
    if (html.substr(begin).starts_with(empty)) return begin + empty.size();
  const std::size_t end = html.find("--!>", begin + 4);
  return end == none ? none : end + 4;
}

// True when an element ends where another begins, without a tag of its own.
bool endsBefore(Name open, Name next) {
  static constexpr auto blocks = namesOf({"p",  "div", "table", "ul", "ol", "dl", "pre", "form", "center", "blockquote",
                                          "h1", "h2",  "h3",    "h4", "h5", "h6", "hr",  "td",   "tr",     "li"});
  static constexpr auto cells = namesOf({"td", "th", "tr"});
  static constexpr auto terms = namesOf({"dt", "dd"});
  static constexpr auto ended = namesOf({"li", "tr", "a", "button", "option", "nobr"});
  if (open == nameOf("p")) return isOneOf(next, blocks);
  if (open == nameOf("td") || open == nameOf("th")) return isOneOf(next, cells);
  if (isOneOf(open, terms)) return isOneOf(next, terms);
  return open == next && isOneOf(open, ended);
}

class Splitter {
 public:
  Splitter(std::string_view html, const StyleSheet& sheet)
      : html_(html), tags_(html), sheet_(sheet), outside_(lookOfDocument(sheet)) {}

  SplitDocument split() {
    std::size_t position = 0;
    for (std::size_t at = html_.find('<'); at != none;) {
      const bool isComment = !isInUnshown() && html_.substr(at).starts_with("<!--");
      const std::size_t end = isComment ? endOfOddComment(html_, at) : tags_.endOfTag(at);
      if (isComment || end != none) output() += html_.substr(position, at - position);
      if (isComment && end == none) {
        document_.hidden += html_.substr(at + 4);
        return std::move(document_);
      }
      if (!isComment && end != none) take(html_.substr(at, end - at));
      if (end != none) position = end;
      at = html_.find('<', std::max(at + 1, position));
    }
    output() += html_.substr(position);
    return std::move(document_);
  }

 private:
  // What a tag begins.
  struct Element {
    Name name = 0;
    css::Style style = {};
    bool isGone = false;
    bool isClosed = false;  // details, of which the first summary alone is shown
    bool operator==(const Element&) const = default;
  };

  // An element where it stands. Its place in those that are open is counted from 1; 0 is none.
  struct Open {
    Element element = {};
    Look look = {};
    bool hidesText = false;
    bool hasSummary = false;
    std::size_t namesake = 0;  // the place of the one of this name around it
    std::size_t table = 0;     // of the innermost one that it is or stands in
    std::size_t barrier = 0;
    std::size_t block = 0;
  };

  std::string& output() {
    const bool isHidden = isTooDeep_ || (!open_.empty() && open_.back().hidesText);
    return isHidden ? document_.hidden : document_.seen;
  }

  bool isInUnshown() const { return !open_.empty() && isUnshown(nameOfLast()); }

  Name nameOfLast() const { return open_.back().element.name; }

  void take(std::string_view tag) {
    const Name name = nameInTag(tag);
    const bool isEnd = tag.starts_with("</");
    if (ascii::isLetter(tag[1])) open(name, tag);
    output() += tag;  // in the element, where the line break that it may stand for belongs
    if (isEnd) close(name);
  }

  void open(Name name, std::string_view tag) {
    // Of those, templates alone are nested.
    if (isInUnshown() && (name != nameOf("template") || nameOfLast() != name)) return;
    const int depth = depthInTable(name);
    // Where a part of a table begins, what stands as deep in it ends, with all within.
    if (!open_.empty() && open_.back().table > 0 && depth > 1 && depth < 5)
      while (depthInTable(nameOfLast()) >= depth) pop();
    while (!open_.empty() && endsBefore(nameOfLast(), name)) pop();
    if (isVoid(name)) return;
    const Attributes attributes = attributesOf(tag.substr(1));
    const bool isInPicture = last_[nameOf("svg")] > 0;
    push({.name = name,
          .style = styleOf(attributes, sheet_),
          .isGone = isUnshown(name) || isShownOtherwise(name, attributes, isInPicture),
          .isClosed = name == nameOf("details") && !attributes.open});
  }

  void push(const Element& element) {
    isTooDeep_ |= open_.size() == deepest;
    if (isTooDeep_) return;
    Open next = {.element = element, .look = outside_};
    if (!open_.empty()) {
      Open& outer = open_.back();
      const bool isShownSummary = element.name == nameOf("summary") && !outer.hasSummary;
      outer.hasSummary |= isShownSummary;
      next.look = outer.look;
      next.look.isGone |= outer.element.isClosed && !isShownSummary;
      next.table = outer.table;
      next.barrier = outer.barrier;
      next.block = outer.block;
    }
    next.look.apply(element.style);
    next.look.isGone |= element.isGone;
    next.hidesText = element.isClosed || next.look.hidesText();
    const std::size_t place = open_.size() + 1;
    if (element.name == nameOf("table")) next.table = place;
    if (isBarrier(element.name)) next.barrier = place;
    if (isBlock(element.name)) next.block = place;
    next.namesake = std::exchange(last_[element.name], place);
    open_.push_back(next);
  }

  // Ends the innermost element of this name, with all within; nothing where there is none that may be ended from here.
  void close(Name name) {
    if (isInUnshown() && nameOfLast() != name) return;
    const auto last = last_.find(name);
    const std::size_t place = last == last_.end() ? 0 : last->second;
    if (place == 0 || place < reach(name)) return;
    const std::vector<Element> goingOn = goingOnBehind(place);
    while (open_.size() >= place) pop();
    for (const Element& element : goingOn)
      if (open_.empty() || open_.back().element != element) push(element);
  }

  // What goes on when the element at `place` ends: formatting, and blocks that began within formatting.
  std::vector<Element> goingOnBehind(std::size_t place) const {
    const Name name = open_[place - 1].element.name;
    std::vector<Element> goingOn;
    if (depthInTable(name) < 5 || open_.size() - place > mostGoingOn) return goingOn;
    for (std::size_t i = place; i < open_.size(); ++i) {
      const Element& inner = open_[i].element;
      if (isFormatting(inner.name) || (isFormatting(name) && isBlock(inner.name))) goingOn.push_back(inner);
    }
    return goingOn;
  }

  // The place of the outermost element that an end tag of this name may end from here.
  std::size_t reach(Name name) const {
    const Open& inner = open_.back();
    const int depth = depthInTable(name);
    if (depth < 5) return depth == 1 ? 0 : inner.table;
    return isBlock(name) || isFormatting(name) ? inner.barrier : std::max(inner.barrier, inner.block);
  }

  void pop() {
    last_[nameOfLast()] = open_.back().namesake;
    open_.pop_back();
  }

  std::string_view html_;
  TagScanner tags_;
  const StyleSheet& sheet_;
  Look outside_;
  std::vector<Open> open_;
  std::unordered_map<Name, std::size_t> last_;  // the place of the innermost one of each name
  bool isTooDeep_ = false;
  SplitDocument document_;
};

}  // namespace

SplitDocument splitHidden(std::string_view html, const StyleSheet& sheet) { return Splitter(html, sheet).split(); }

}  // namespace vesk::html
