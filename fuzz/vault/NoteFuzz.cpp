#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "core/base/Text.h"
#include "core/vault/MarkdownFile.h"
#include "core/vault/MarkdownScanner.h"
#include "core/vault/MarkdownTable.h"
#include "core/vault/Note.h"
#include "core/vault/TagRename.h"

namespace {

using namespace vesk;
using Tags = std::vector<std::string>;

void require(bool holds) {
  if (!holds) std::abort();
}

// Any bytes come back as they were, and tags that are set are there when the text is read again.
void checkFile(std::string_view text) {
  MarkdownFile file(text);
  require(file.serialized() == text);
  file.setTags(file.frontmatterTags());
  require(file.serialized() == text);

  const Tags tags = {"area/health", "zwei"};
  file.setTags(tags);
  const MarkdownFile again(file.serialized());
  require(file.frontmatterTags() == tags && again.frontmatterTags() == tags);
  require(again.frontmatter == file.frontmatter && again.body == file.body);
}

// The pieces of prose lie in the text, in order, and hold what the prose does.
void checkProse(std::string_view text) {
  const char* end = text.data();
  std::string joined;
  for (const std::string_view piece : markdown::prosePieces(text)) {
    require(!std::less<>()(piece.data(), end));
    end = piece.data() + piece.size();
    require(!std::less<>()(text.data() + text.size(), end));
    joined += piece;
  }
  require(joined == markdown::prose(text));
}

// What was found is found again where it stands alone.
void checkFound(std::string_view text) {
  markdown::TagScanner scanner(text);
  while (const auto match = scanner.next()) {
    require(text.substr(match->offset, match->tag.size() + 1) == "#" + std::string(match->tag));
    const std::string alone = "#" + std::string(match->tag);
    const auto again = markdown::TagScanner(alone).next();
    require(again && again->tag == match->tag);
  }
  for (const std::string_view link : markdown::links(text)) {
    const std::string alone = "[[" + std::string(link) + "]]";
    const auto again = markdown::links(alone);
    require(again.size() == 1 && again.front() == link);
  }
}

// Renaming comes to rest: the second time at the latest, as a listed tag with a comma is put right when it is written.
void checkRename(std::string_view text) {
  Note note;
  note.id = "Note.md";
  readNoteText(note, text);
  if (note.tags.empty() || note.tags.front().starts_with("renamed")) return;
  const TagRename renaming(note.tags.front(), "renamed");
  const std::string twice = renaming.appliedTo(renaming.appliedTo(text));
  require(renaming.appliedTo(twice) == twice);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  checkFile(text);
  if (!text::isValidUtf8(text)) return 0;  // the scan passes such a file over
  checkProse(text);
  checkFound(text);
  checkRename(text);
  markdown::firstHeading(text);
  markdown::preview(text);
  MarkdownTable::parse(text);
  return 0;
}
