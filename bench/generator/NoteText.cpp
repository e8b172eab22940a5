#include "bench/generator/NoteText.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <iterator>

#include <fmt/format.h>

#include "bench/generator/Random.h"

namespace vesk::bench {

namespace {

// 2^(i/16) in 65536ths.
constexpr std::array<std::uint64_t, 16> sixteenthPowers = {65536,  68438,  71468,  74632, 77936,  81386,
                                                           84990,  88752,  92682,  96785, 101070, 105545,
                                                           110218, 115098, 120194, 125515};

// Log-normal, with a median of 4 KB and a factor of e to the standard deviation: the logarithm is the sum of twelve
// draws, which is near enough normal.
std::size_t ordinarySize(Random& random) {
  std::int64_t sum = 0;  // of mean 0 and standard deviation 1,000
  for (int draw = 0; draw < 12; ++draw) sum += static_cast<std::int64_t>(random.below(1001)) - 500;
  const std::int64_t exponent = 16 * 12 + sum * 23 / 1000;  // in 16ths; 2^12 is the median, 2^(23/16) is e
  const auto whole = static_cast<unsigned>(std::max<std::int64_t>(exponent, 0) / 16);
  const auto part = static_cast<std::size_t>(std::max<std::int64_t>(exponent, 0) % 16);
  const std::uint64_t size = (std::uint64_t{1} << whole) * sixteenthPowers[part] / 65536;
  return std::clamp<std::size_t>(size, 200, 200'000);
}

// The large ones keep their share of the bytes as the vault grows.
std::size_t targetSize(Random& random, std::size_t index) {
  if (index % 10'000 == 5'500) return 2'000'000;
  if (index % 1'000 == 500) return 200'000;
  return ordinarySize(random);
}

bool isASCII(std::string_view text) {
  return std::all_of(text.begin(), text.end(), [](unsigned char c) { return c < 0x80; });
}

class NoteWriter {
 public:
  NoteWriter(const VaultPlan& plan, std::size_t index)
      : plan_(plan),
        note_(plan.notes[index]),
        random_(note_.seed),
        language_(language(note_.script)),
        typeset_(note_.script != Script::english || random_.percent(45)),
        size_(targetSize(random_, index)) {
    if (index % 1'000 == 617) plantMarker("quixotic", 1);
    if (index % 5 == 1 || index % 5 == 3) plantMarker("harbour", random_.between(1, 4));
  }

  std::string write() {
    if (random_.percent(85)) frontMatter();
    line("# {}", note_.title);
    text_ += '\n';
    while (text_.size() < size_) block();
    if (!markers_.empty()) paragraph();
    return std::move(text_);
  }

 private:
  struct Marker {
    std::string_view word;
    std::size_t position;  // the first sentence from here on holds it
  };

  // Somewhere in the note, the farthest first.
  void plantMarker(std::string_view word, std::size_t times) {
    for (; times > 0; --times) markers_.push_back({word, random_.below(size_)});
    std::sort(markers_.begin(), markers_.end(),
              [](const Marker& a, const Marker& b) { return a.position > b.position; });
  }

  template <typename... Arguments>
  void line(fmt::format_string<Arguments...> format, Arguments&&... arguments) {
    fmt::format_to(std::back_inserter(text_), format, std::forward<Arguments>(arguments)...);
    text_ += '\n';
  }

  std::string_view tag() {
    while (true) {
      const std::string_view tag = random_.pick(tags());
      if (typeset_ || isASCII(tag)) return tag;
    }
  }

  void frontMatter() {
    line("---");
    if (random_.percent(50)) line("title: {}", note_.title);
    if (random_.percent(85)) {
      text_.append("tags: [").append(tag());
      for (std::size_t more = random_.below(4); more > 0; --more) text_.append(", ").append(tag());
      text_ += "]\n";
    }
    if (random_.percent(40)) line("created: {}", date());
    line("---");
    text_ += '\n';
  }

  std::string date() {
    const std::size_t year = random_.between(2024, 2026);
    const std::size_t month = random_.between(1, 12);
    return fmt::format("{}-{:02}-{:02}", year, month, random_.between(1, 28));
  }

  void block() {
    const std::size_t share = random_.below(100);
    if (share < 60) return paragraph();
    if (share < 70) return heading();
    if (share < 80) return list();
    if (share < 90) return tasks();
    if (share < 95) return code();
    return quote();
  }

  void paragraph() {
    for (std::size_t sentences = random_.between(2, 7); sentences > 0; --sentences) {
      sentence();
      if (text_.size() >= size_ && markers_.empty()) break;
    }
    while (!markers_.empty() && text_.size() >= size_) sentence();
    endLine();
    text_ += '\n';
  }

  void heading() {
    text_ += random_.percent(70) ? "## " : "### ";
    words(random_.between(1, 4));
    text_ += "\n\n";
  }

  void list() {
    for (std::size_t items = random_.between(3, 8); items > 0; --items) {
      text_ += random_.percent(20) ? "  - " : "- ";
      sentence();
      endLine();
    }
    text_ += '\n';
  }

  void tasks() {
    for (std::size_t items = random_.between(2, 6); items > 0; --items) {
      text_ += random_.percent(35) ? "- [x] " : "- [ ] ";
      words(random_.between(2, 7));
      if (random_.percent(40)) text_.append(" #due/").append(date());
      if (random_.percent(20)) text_ += random_.percent(50) ? " #prio/high" : " #prio/low";
      if (random_.percent(15)) text_ += " #dur/45";
      text_ += '\n';
    }
    text_ += '\n';
  }

  void code() {
    text_ += random_.percent(50) ? "```\n" : "```python\n";
    for (std::size_t lines = random_.between(2, 12); lines > 0; --lines) line("{}", random_.pick(codeLines()));
    text_ += "```\n\n";
  }

  void quote() {
    text_ += "> ";
    sentence();
    endLine();
    text_ += '\n';
  }

  void sentence() {
    const std::size_t start = text_.size();
    words(random_.between(3, 9));
    capitalise(start);
    text_ += random_.percent(50) ? language_.space : dashOrComma();
    while (!markers_.empty() && markers_.back().position <= text_.size()) marker();
    aside();
    words(random_.between(2, 8));
    text_ += language_.fullStop;
  }

  std::string_view dashOrComma() { return typeset_ && random_.percent(25) ? " — " : language_.comma; }

  void marker() {
    space();
    const std::size_t start = text_.size();
    text_.append(markers_.back().word).append(" ");
    if (random_.percent(25)) capitalise(start);
    markers_.pop_back();
  }

  // What stands in a sentence besides its words.
  void aside() {
    const std::size_t share = random_.below(100);
    if (share >= 30) return;
    space();
    if (share < 14) {
      link();
    } else if (share < 18) {
      text_.append("#").append(tag());
    } else if (share < 21) {
      text_ += random_.percent(50) ? "`valve --open 3`" : "`#notATag`";
    } else if (share < 24) {
      text_.append("**").append(random_.pick(language_.words)).append("**");
    } else if (share < 26) {
      text_ += "[site](https://example.org/plants?id=12)";
    } else {
      quotation();
    }
    space();
  }

  void quotation() {
    text_ += typeset_ ? "“" : "\"";
    words(random_.between(1, 4));
    text_ += typeset_ ? "”" : "\"";
  }

  void link() {
    const NotePlan& target = linkTarget();
    text_ += random_.percent(10) ? "![[" : "[[";
    if (typeset_ && !target.folder.empty() && random_.percent(12)) text_.append(target.folder).append("/");
    text_ += target.title;
    if (random_.percent(8)) text_.append("#").append(random_.pick(language_.words));
    if (random_.percent(20)) text_.append("|").append(random_.pick(language_.words));
    text_ += "]]";
  }

  // The earlier a note, the more often it is linked to.
  const NotePlan& linkTarget() {
    while (true) {
      const NotePlan& target = plan_.notes[random_.below(random_.below(plan_.notes.size()) + 1)];
      if (typeset_ || target.script == Script::english) return target;
    }
  }

  void words(std::size_t count) {
    for (; count > 0; --count) {
      const std::string_view word = random_.pick(language_.words);
      const std::size_t apostrophe = word.find('\'');
      if (typeset_ && apostrophe != word.npos) {
        text_.append(word.substr(0, apostrophe)).append("’").append(word.substr(apostrophe + 1));
      } else {
        text_ += word;
      }
      if (count > 1) text_ += language_.space;
    }
  }

  void space() {
    if (text_.back() != ' ' && text_.back() != '\n') text_ += ' ';
  }

  void capitalise(std::size_t at) {
    text_[at] = static_cast<char>(std::toupper(static_cast<unsigned char>(text_[at])));
  }

  void endLine() {
    if (text_.back() == ' ') text_.pop_back();
    text_ += '\n';
  }

  const VaultPlan& plan_;
  const NotePlan& note_;
  Random random_;
  const Language& language_;
  bool typeset_;      // with dashes and quotes of print; otherwise all of the note is ASCII
  std::size_t size_;  // bytes to be reached
  std::vector<Marker> markers_ = {};
  std::string text_ = {};
};

}  // namespace

std::string noteText(const VaultPlan& plan, std::size_t index) { return NoteWriter(plan, index).write(); }

}  // namespace vesk::bench
