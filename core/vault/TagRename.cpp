#include "core/vault/TagRename.h"

#include <algorithm>
#include <cstddef>

#include "core/base/Text.h"
#include "core/vault/MarkdownFile.h"
#include "core/vault/MarkdownScanner.h"
#include "core/vault/VaultError.h"

namespace vesk {

namespace {

std::string_view withoutHash(std::string_view tag) {
  tag = text::trimWhitespace(tag);
  if (tag.starts_with('#')) tag.remove_prefix(1);
  return tag;
}

bool canBeTag(std::string_view tag) {
  const std::string written = "#" + std::string(tag);
  const auto found = markdown::TagScanner(written).next();
  return found && found->offset == 0 && found->tag == tag;
}

}  // namespace

TagRename::TagRename(std::string_view oldTag, std::string_view newTag)
    : old_(withoutHash(oldTag)), new_(withoutHash(newTag)) {
  if (!canBeTag(new_)) throw VaultError::invalidName();
}

std::optional<std::string> TagRename::renamed(std::string_view tag) const {
  if (!tag.starts_with(old_)) return std::nullopt;
  // "work" becomes "work/new" but once, also where a renaming goes on that was interrupted.
  if (new_.starts_with(old_ + "/") && (tag == new_ || tag.starts_with(new_ + "/"))) return std::nullopt;
  const std::string_view below = tag.substr(old_.size());
  if (!below.empty() && below.front() != '/') return std::nullopt;
  return new_ + std::string(below);
}

bool TagRename::concerns(const std::vector<std::string>& tags) const {
  return std::any_of(tags.begin(), tags.end(), [&](const std::string& tag) { return renamed(tag).has_value(); });
}

std::string TagRename::appliedTo(std::string_view text) const {
  MarkdownFile file(text);
  std::vector<std::string> tags = file.frontmatterTags();
  if (concerns(tags)) {
    for (std::string& tag : tags)
      if (auto name = renamed(tag)) tag = std::move(*name);
    file.setTags(tags);
  }
  file.body = inProse(file.body);
  return file.serialized();
}

std::string TagRename::inProse(std::string_view body) const {
  // A tag is found in the prose as it reads once the code is taken out, and replaced where its piece of that stands.
  const auto pieces = markdown::prosePieces(body);
  const std::string prose = markdown::joined(pieces);
  std::string result;
  std::size_t copied = 0;       // of the body
  std::size_t piece = 0;        // that the tag begins in
  std::size_t pieceOffset = 0;  // of that piece in the prose
  markdown::TagScanner scanner(prose);
  while (const auto match = scanner.next()) {
    const auto name = renamed(match->tag);
    if (!name) continue;
    while (match->offset >= pieceOffset + pieces[piece].size()) pieceOffset += pieces[piece++].size();
    const std::size_t inPiece = match->offset - pieceOffset;
    if (inPiece + 1 + match->tag.size() > pieces[piece].size()) continue;  // code stands within the tag
    const std::size_t begin = static_cast<std::size_t>(pieces[piece].data() - body.data()) + inPiece + 1;
    result.append(body.substr(copied, begin - copied)).append(*name);
    copied = begin + match->tag.size();
  }
  return result.append(body.substr(copied));
}

}  // namespace vesk
