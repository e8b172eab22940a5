#include "core/mail/MailParts.h"

#include <algorithm>
#include <cstddef>
#include <optional>
#include <utility>

#include "core/base/AsciiSearch.h"
#include "core/base/Text.h"
#include "core/mail/HeaderParameters.h"

namespace vesk {

namespace {

constexpr std::size_t none = std::string_view::npos;

// Real mail is nested some ten deep. Every line that may be a delimiter is compared with as many boundaries.
constexpr std::size_t deepest = 100;

// More than any mail program writes or lists; a hostile message of a few megabytes has a million.
constexpr std::size_t mostSections = 10'000;

constexpr std::string_view plainText = "text/plain";
constexpr std::string_view htmlText = "text/html";

// The last component of a path of any system, and nothing that names a folder.
std::string fileName(const std::string& written) {
  const std::string name = oneLine(written.substr(written.find_last_of("/\\") + 1));
  return name == "." || name == ".." ? "" : name;
}

bool isType(std::string_view value) {
  constexpr std::string_view special = "()<>@,;:\\\"[]?= ";
  const std::size_t slash = value.find('/');
  return slash != none && slash > 0 && slash + 1 < value.size() && value.find_first_of(special) == none &&
         value.find('/', slash + 1) == none && text::isAscii(value);
}

// Whether the text among the parts of a multipart of this type is the body, though it may have a name. "" stands for no
// multipart: the part is the message.
bool holdsBodies(std::string_view multipart) {
  constexpr std::string_view types[] = {"", "multipart/alternative", "multipart/related", "multipart/signed"};
  return std::find(std::begin(types), std::end(types), multipart) != std::end(types);
}

// A multipart that is being read.
struct Level {
  std::string boundary = {};
  std::string type = {};
  std::size_t begin = 0;    // of its body
  std::size_t number = 0;   // among all multiparts
  std::size_t section = 0;  // the open one, counted through the message; 0 before the first
};

// What a header says of the part below it.
class PartHeader {
 public:
  PartHeader(const MailHeader& header, std::string parentType)
      : type_(header.unfolded(MailField::contentType)),
        disposition_(header.unfolded(MailField::contentDisposition)),
        encoding_(transferEncodingNamed(HeaderParameters(header.unfolded(MailField::contentTransferEncoding)).value())),
        parentType_(std::move(parentType)) {}

  // Without a type, or with what is none, a part is plain text (RFC 2045, 5.2), but a message in a digest.
  std::string type() const {
    const std::string& value = type_.value();
    if (isType(value)) return value;
    return parentType_ == "multipart/digest" && value.empty() ? "message/rfc822" : std::string(plainText);
  }

  // "" when the part is no multipart that can be taken apart.
  std::string boundary() const {
    if (!type().starts_with("multipart/")) return {};
    std::string boundary = type_.token("boundary");
    boundary.erase(boundary.find_last_not_of(" \t") + 1);  // a delimiter's line may end with blanks, too
    return boundary;
  }

  MailPart part(std::string_view body) const {
    MailPart part{.type = type(), .charset = type_.token("charset"), .encoding = encoding_, .body = body};
    part.kind = kind(part.type);
    if (part.kind != MailPart::Kind::attachment) return part;
    part.name = name();
    part.mayBeBody = isShown() && (part.type == htmlText || part.type == plainText);
    return part;
  }

 private:
  std::string name() const {
    const std::string name = disposition_.get("filename");
    return fileName(name.empty() ? type_.get("name") : name);
  }

  bool isShown() const { return disposition_.value().empty() || disposition_.value() == "inline"; }

  MailPart::Kind kind(std::string_view type) const {
    using enum MailPart::Kind;
    if (!isShown()) return attachment;
    if (!holdsBodies(parentType_) && !name().empty()) return attachment;
    if (type == htmlText) return html;
    const bool isText =
        type == plainText || type.starts_with("multipart/") || (parentType_.empty() && type.starts_with("text/"));
    return isText ? text : attachment;
  }

  HeaderParameters type_;
  HeaderParameters disposition_;
  TransferEncoding encoding_;
  std::string parentType_;  // "" of the message itself
};

// A line that ends a section of one of the open multiparts.
struct Delimiter {
  std::size_t level = 0;
  bool isLast = false;
  std::size_t sectionEnd = 0;  // before the line break that belongs to it
  std::size_t end = 0;         // behind its line
};

class PartReader {
 public:
  explicit PartReader(std::string_view message) : message_(message) {}

  std::vector<MailPart> read(const MailHeader& header) {
    begin(header);
    while (const auto delimiter = nextDelimiter()) {
      endLeaf(delimiter->sectionEnd);
      close(delimiter->isLast ? delimiter->level : delimiter->level + 1, delimiter->sectionEnd);
      position_ = delimiter->end;
      if (delimiter->isLast) continue;
      levels_.back().section = ++sections_;
      if (sections_ > mostSections) {
        keepAsText(position_, message_.size());
        return std::move(parts_);
      }
      begin(readMailHeader(message_, position_));
    }
    endLeaf(message_.size());
    close(0, message_.size());
    return std::move(parts_);
  }

 private:
  // Begins what lies below a header: another level, or a part that ends with the next delimiter.
  void begin(const MailHeader& header) {
    position_ = header.end;
    const PartHeader part(header, levels_.empty() ? "" : levels_.back().type);
    const std::string boundary = levels_.size() < deepest ? part.boundary() : "";
    if (boundary.empty()) {
      leaf_ = part.part(message_.substr(position_));
      leaf_->choices = openChoices();
    } else {
      levels_.push_back({.boundary = boundary, .type = part.type(), .begin = position_, .number = ++multiparts_});
    }
  }

  std::vector<MailPart::Choice> openChoices() const {
    std::vector<MailPart::Choice> choices;
    for (const Level& level : levels_)
      if (level.type == "multipart/alternative") choices.push_back({level.number, level.section});
    return choices;
  }

  void endLeaf(std::size_t end) {
    if (!leaf_) return;
    const auto begin = static_cast<std::size_t>(leaf_->body.data() - message_.data());
    leaf_->body = message_.substr(begin, end - begin);
    parts_.push_back(std::move(*leaf_));
    leaf_.reset();
  }

  // Leaves only that many levels open.
  void close(std::size_t count, std::size_t end) {
    for (; levels_.size() > count; levels_.pop_back())
      if (levels_.back().section == 0) keepAsText(levels_.back().begin, end);
  }

  void keepAsText(std::size_t begin, std::size_t end) {
    parts_.push_back({.type = std::string(plainText), .body = message_.substr(begin, end - begin)});
  }

  // The first one at or after the position, which is at the beginning of a line.
  std::optional<Delimiter> nextDelimiter() const {
    static const text::AsciiSearch lineWithDashes("\n--");
    if (levels_.empty()) return std::nullopt;
    std::size_t begin = position_;
    while (true) {
      const std::size_t end = std::min(message_.find('\n', begin), message_.size());
      if (auto delimiter = delimiterIn(message_.substr(begin, end - begin))) {
        delimiter->sectionEnd = std::max(position_, withoutLineBreak(begin));
        delimiter->end = std::min(end + 1, message_.size());
        return delimiter;
      }
      const std::size_t lineBreak = lineWithDashes.find(message_, end);
      if (lineBreak == none) return std::nullopt;
      begin = lineBreak + 1;
    }
  }

  // What its line says of a delimiter. Inner multiparts go first; an outer one ends those within it.
  std::optional<Delimiter> delimiterIn(std::string_view line) const {
    if (!line.starts_with("--")) return std::nullopt;
    line.remove_prefix(2);
    line = line.substr(0, line.find_last_not_of(" \t\r") + 1);
    const std::string_view shortened = line.ends_with("--") ? line.substr(0, line.size() - 2) : std::string_view();
    for (std::size_t level = levels_.size(); level-- > 0;) {
      const std::string_view boundary = levels_[level].boundary;
      if (line == boundary) return Delimiter{.level = level};
      if (shortened == boundary) return Delimiter{.level = level, .isLast = true};
    }
    return std::nullopt;
  }

  // The place before the line break that ends before `lineBegin`.
  std::size_t withoutLineBreak(std::size_t lineBegin) const {
    const std::string_view before = message_.substr(0, lineBegin);
    if (before.ends_with("\r\n")) return lineBegin - 2;
    return before.ends_with('\n') ? lineBegin - 1 : lineBegin;
  }

  std::string_view message_;
  std::size_t position_ = 0;
  std::size_t multiparts_ = 0;  // so far, as the next
  std::size_t sections_ = 0;
  std::vector<Level> levels_;
  std::optional<MailPart> leaf_;  // the part that is being read
  std::vector<MailPart> parts_;
};

// Some senders name their bodies. Where a mail would show nothing, the first named text of each kind is its body.
void showNamedBodies(std::vector<MailPart>& parts) {
  const auto isShown = [](const MailPart& part) { return part.kind != MailPart::Kind::attachment; };
  if (std::any_of(parts.begin(), parts.end(), isShown)) return;
  const auto show = [&](std::string_view type, MailPart::Kind kind) {
    const auto first = std::find_if(parts.begin(), parts.end(),
                                    [&](const MailPart& part) { return part.mayBeBody && part.type == type; });
    if (first != parts.end()) first->kind = kind;
  };
  show(plainText, MailPart::Kind::text);
  show(htmlText, MailPart::Kind::html);
}

}  // namespace

std::vector<MailPart> mailParts(std::string_view message, const MailHeader& header) {
  std::vector<MailPart> parts = PartReader(message).read(header);
  showNamedBodies(parts);
  return parts;
}

}  // namespace vesk
