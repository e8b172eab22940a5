#include "core/mail/HiddenHtml.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <unordered_map>
#include <vector>

#include "core/base/Ascii.h"
#include "core/mail/HtmlText.h"

namespace vesk::html {

namespace {

constexpr std::size_t none = std::string_view::npos;

// Real mail is nested some fifty deep. What follows when more is open counts as hidden.
constexpr std::size_t deepest = 10'000;

// The first eight letters of an element's name, in lower case: enough to tell elements apart.
using Name = std::uint64_t;

constexpr Name nameOf(std::string_view letters) {
  Name name = 0;
  for (const char c : letters.substr(0, 8)) name = name << 8 | static_cast<unsigned char>(ascii::lower(c));
  return name;
}

// Of a tag: "<TD align=left>", "</td>".
Name nameInTag(std::string_view tag) {
  tag.remove_prefix(tag.starts_with("</") ? 2 : 1);
  return nameOf(tag.substr(0, tag.find_first_of(" \t\r\n\f/>")));
}

template <std::size_t count>
bool isOneOf(Name name, const std::string_view (&names)[count]) {
  return std::any_of(names, names + count, [&](std::string_view each) { return nameOf(each) == name; });
}

// Elements that have no end.
bool isVoid(Name name) {
  constexpr std::string_view names[] = {"area",  "base", "br",   "col",   "embed",  "hr",    "img",
                                        "input", "link", "meta", "param", "source", "track", "wbr"};
  return isOneOf(name, names);
}

// Elements whose contents aren't shown, and end at nothing but their own end tag.
bool isUnshown(Name name) {
  constexpr std::string_view names[] = {"style", "script", "title", "template", "noframes", "noembed", "iframe"};
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
  constexpr std::string_view blocks[] = {"p",  "div", "table", "ul", "ol", "dl", "pre", "form", "center", "blockquote",
                                         "h1", "h2",  "h3",    "h4", "h5", "h6", "hr",  "td",   "tr",     "li"};
  constexpr std::string_view cells[] = {"td", "th", "tr"};
  if (open == nameOf("p")) return isOneOf(next, blocks);
  if (open == nameOf("td") || open == nameOf("th")) return isOneOf(next, cells);
  return open == next && (open == nameOf("li") || open == nameOf("tr"));
}

class Splitter {
 public:
  Splitter(std::string_view html, const StyleSheet& sheet) : html_(html), tags_(html), sheet_(sheet) {}

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
  struct Element {
    Name name = 0;
    Look look = {};
    bool hidesText = false;
  };

  std::string& output() {
    const bool isHidden = isTooDeep_ || (!open_.empty() && open_.back().hidesText);
    return isHidden ? document_.hidden : document_.seen;
  }

  bool isInUnshown() const { return !open_.empty() && isUnshown(open_.back().name); }

  void take(std::string_view tag) {
    const Name name = nameInTag(tag);
    const bool isEnd = tag.starts_with("</");
    if (ascii::isLetter(tag[1])) open(name, tag);
    output() += tag;  // in the element, where the line break that it may stand for belongs
    if (isEnd) close(name);
  }

  void open(Name name, std::string_view tag) {
    // Of those, templates alone are nested.
    if (isInUnshown() && (name != nameOf("template") || open_.back().name != name)) return;
    while (!open_.empty() && endsBefore(open_.back().name, name)) pop();
    if (isVoid(name)) return;
    isTooDeep_ |= open_.size() == deepest;
    if (isTooDeep_) return;
    Look look = lookWithin(tag, open_.empty() ? lookOfDocument(sheet_) : open_.back().look, sheet_);
    look.isGone |= isUnshown(name);
    open_.push_back({name, look, look.hidesText()});
    ++count_[name];
  }

  // The innermost element of this name, and all within; nothing when there is none.
  void close(Name name) {
    if (isInUnshown() && open_.back().name != name) return;
    const auto count = count_.find(name);
    if (count == count_.end() || count->second == 0) return;
    while (open_.back().name != name) pop();
    pop();
  }

  void pop() {
    --count_[open_.back().name];
    open_.pop_back();
  }

  std::string_view html_;
  TagScanner tags_;
  const StyleSheet& sheet_;
  std::vector<Element> open_;
  std::unordered_map<Name, std::size_t> count_;  // of the open elements
  bool isTooDeep_ = false;
  SplitDocument document_;
};

}  // namespace

SplitDocument splitHidden(std::string_view html, const StyleSheet& sheet) { return Splitter(html, sheet).split(); }

}  // namespace vesk::html
