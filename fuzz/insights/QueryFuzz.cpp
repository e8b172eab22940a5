#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>
#include <vector>

#include <fmt/format.h>

#include "core/base/Error.h"
#include "core/base/Text.h"
#include "core/insights/VaultQuery.h"

namespace {

using namespace vesk;

void require(bool holds) {
  if (!holds) std::abort();
}

std::string linesOf(std::string_view key, const std::vector<std::string>& values, std::string_view mark = "") {
  std::string lines;
  for (const std::string& value : values) lines += fmt::format("{}:{}{}\n", key, mark, value);
  return lines;
}

// The query as a person could have written it, in no more lines.
std::string written(const VaultQuery& query) {
  using Sort = VaultQuery::Sort;
  std::string text = linesOf("folder", query.folders) + linesOf("TAG", query.tags, "#") + linesOf("text", query.texts);
  if (query.limit) text += fmt::format("limit: {}\n", *query.limit);
  if (query.sort != Sort::modified) text += query.sort == Sort::title ? "sort: title" : "sort: created";
  return text;
}

VaultSnapshot smallVault() {
  VaultSnapshot snapshot;
  for (const char* id : {"Plan.md", "Areas/Größe.md", "Projects/Garden/Lemon tree.md"}) {
    Note note{.id = id, .title = id, .body = "Water the lemon tree. ΣΑΣ"};
    note.tags = {"garden", "área"};
    snapshot.notes.push_back(std::make_shared<const Note>(std::move(note)));
  }
  return snapshot;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const VaultSnapshot vault = smallVault();
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  VaultQuery query;
  try {
    query = VaultQuery::parse(text);
  } catch (const Error&) {
    return 0;
  }
  require(!query.limit || *query.limit > 0);
  run(query, vault);
  if (text::isValidUtf8(text)) require(VaultQuery::parse(written(query)) == query);
  return 0;
}
