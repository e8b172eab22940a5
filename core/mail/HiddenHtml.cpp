#include "core/mail/HiddenHtml.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <unordered_map>
#include <vector>

#include "core/base/Ascii.h"
#include "core/mail/HtmlStyle.h"
#include "core/mail/HtmlText.h"
#include "core/mail/Letters.h"

namespace vesk::html {

namespace {

constexpr std::size_t none = std::string_view::npos;

// Real mail is nested some fifty deep. What is opened below this looks as what it stands in.
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
  explicit Splitter(std::string_view html) : html_(html), tags_(html) {}

  SplitDocument split() {
    std::size_t position = 0;
    for (std::size_t at = html_.find('<'); at != none;) {
      const std::size_t end = tags_.endOfTag(at);
      if (end != none) {
        output() += html_.substr(position, at - position);
        take(html_.substr(at, end - at));
        position = end;
      }
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

  std::string& output() { return !open_.empty() && open_.back().hidesText ? document_.hidden : document_.seen; }

  void take(std::string_view tag) {
    const Name name = nameInTag(tag);
    const bool isEnd = tag.starts_with("</");
    if (isAsciiLetter(tag[1])) open(name, tag);
    output() += tag;  // in the element, where the line break that it may stand for belongs
    if (isEnd) close(name);
  }

  void open(Name name, std::string_view tag) {
    while (!open_.empty() && endsBefore(open_.back().name, name)) pop();
    if (isVoid(name) || open_.size() == deepest) return;
    const Look look = lookWithin(tag, open_.empty() ? Look() : open_.back().look);
    open_.push_back({name, look, look.hidesText()});
    ++count_[name];
  }

  // The innermost element of this name, and all within; nothing when there is none.
  void close(Name name) {
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
  std::vector<Element> open_;
  std::unordered_map<Name, std::size_t> count_;  // of the open elements
  SplitDocument document_;
};

}  // namespace

SplitDocument splitHidden(std::string_view html) { return Splitter(html).split(); }

}  // namespace vesk::html
