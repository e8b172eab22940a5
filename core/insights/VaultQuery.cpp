#include "core/insights/VaultQuery.h"

#include <algorithm>
#include <charconv>
#include <functional>
#include <utility>

#include <fmt/format.h>

#include "core/base/Error.h"
#include "core/base/Text.h"
#include "core/base/TextSearch.h"
#include "core/platform/Parallel.h"

namespace vesk {

namespace {

constexpr std::size_t mostLines = 100;

// As much of a line as a sentence needs.
std::string_view shown(std::string_view line) { return text::firstCharacters(line, 100); }

std::size_t limitNamed(std::string_view value) {
  std::size_t limit = 0;
  const auto [end, error] = std::from_chars(value.data(), value.data() + value.size(), limit);
  if (error != std::errc() || end != value.data() + value.size() || limit == 0)
    throw Error(fmt::format("The limit must be a whole number of at least 1, not \"{}\".", shown(value)));
  return limit;
}

VaultQuery::Sort sortNamed(std::string_view value) {
  using Sort = VaultQuery::Sort;
  constexpr std::pair<std::string_view, Sort> sorts[] = {
      {"modified", Sort::modified}, {"created", Sort::created}, {"title", Sort::title}};
  for (const auto& [name, sort] : sorts)
    if (text::equalIgnoringCase(value, name)) return sort;
  throw Error(fmt::format("Notes are sorted by modified, created or title, not by \"{}\".", shown(value)));
}

// Without the marks that may be written with it: the "/" behind a folder, the "#" before a tag.
std::string_view withoutMarks(std::string_view value, std::string_view key) {
  while (key == "folder" && value.ends_with('/')) value = text::trimWhitespace(value.substr(0, value.size() - 1));
  if (key == "tag" && value.starts_with('#')) value = text::trimWhitespace(value.substr(1));
  return value;
}

void readLine(std::string_view line, VaultQuery& query) {
  const std::size_t colon = std::min(line.find(':'), line.size());
  const std::string key = text::key(text::trimWhitespace(line.substr(0, colon)));
  const std::string_view typed = text::trimWhitespace(line.substr(std::min(colon + 1, line.size())));
  const std::string_view value = withoutMarks(typed, key);
  const bool isKnown = key == "folder" || key == "tag" || key == "text" || key == "sort" || key == "limit";
  if (!isKnown || colon == line.size())
    throw Error(
        fmt::format("\"{}\" is no line of a query. Those are folder:, tag:, text:, sort: (modified, created or "
                    "title) and limit:, each on a line of its own.",
                    shown(line)));
  if (value.empty()) throw Error(fmt::format("Nothing stands behind \"{}:\".", key));
  if (key == "folder") query.folders.emplace_back(value);
  if (key == "tag") query.tags.emplace_back(value);
  if (key == "text") query.texts.emplace_back(value);
  if (key == "sort") query.sort = sortNamed(value);
  if (key == "limit") query.limit = limitNamed(value);
}

bool liesIn(std::string_view id, std::string_view folder) {
  std::size_t end = 0;  // of as many folders as the wanted path has
  for (auto left = std::ranges::count(folder, '/') + 1; left > 0; --left, ++end) {
    end = id.find('/', end);
    if (end == std::string_view::npos) return false;
  }
  return text::equalIgnoringCase(id.substr(0, end - 1), folder);
}

bool holds(const Note& note, const text::TextSearch& words) {
  return words.occursIn(note.title) || words.occursIn(note.body) ||
         std::ranges::any_of(note.tags, [&](const std::string& tag) { return words.occursIn(tag); });
}

void sortNotes(std::vector<NoteRef>& notes, VaultQuery::Sort sort) {
  if (sort == VaultQuery::Sort::modified) sortNewestFirst(notes);
  if (sort == VaultQuery::Sort::created)
    std::ranges::stable_sort(notes, std::greater(), [](const NoteRef& note) { return note->created; });
  if (sort == VaultQuery::Sort::title)
    std::ranges::stable_sort(
        notes, [](const NoteRef& a, const NoteRef& b) { return text::compareNames(a->title, b->title) < 0; });
}

}  // namespace

VaultQuery VaultQuery::parse(std::string_view text) {
  VaultQuery query;
  std::size_t count = 0;
  for (const std::string_view untrimmed : text::split(text, '\n')) {
    const std::string_view line = text::trimWhitespace(untrimmed);
    if (line.empty()) continue;
    if (++count > mostLines) throw Error(fmt::format("A query has at most {} lines.", mostLines));
    readLine(line, query);
  }
  return query;
}

std::vector<NoteRef> run(const VaultQuery& query, const Vault& vault) {
  if (query.texts.empty() && query.tags.empty()) return run(query, vault.survey({.readsCreationDates = true}));
  const std::vector<text::TextSearch> texts(query.texts.begin(), query.texts.end());
  // Title, tags and body stand in the file's text, but for a title that is the file's name.
  return run(query, vault.scanOnce([&](const NoteFile& file) {
    const auto isIn = [&](const std::string& folder) { return liesIn(file.id, folder); };
    const auto mayCarry = [&](const std::string& tag) { return file.text.find(tag) != std::string_view::npos; };
    const auto mayHold = [&](const text::TextSearch& words) {
      return words.occursIn(file.text) || words.occursIn(file.fileName());
    };
    return std::ranges::all_of(query.folders, isIn) && std::ranges::all_of(query.tags, mayCarry) &&
           std::ranges::all_of(texts, mayHold);
  }));
}

std::vector<NoteRef> run(const VaultQuery& query, const VaultSnapshot& snapshot) {
  const std::vector<text::TextSearch> texts(query.texts.begin(), query.texts.end());
  std::vector<NoteRef> found(snapshot.notes.size());
  inParallel(found.size(), [&](std::size_t i) {
    const NoteRef& note = snapshot.notes[i];
    const auto isIn = [&](const std::string& folder) { return liesIn(note->id, folder); };
    const auto carries = [&](const std::string& tag) { return std::ranges::count(note->tags, tag) > 0; };
    const auto has = [&](const text::TextSearch& words) { return holds(*note, words); };
    if (std::ranges::all_of(query.folders, isIn) && std::ranges::all_of(query.tags, carries) &&
        std::ranges::all_of(texts, has))
      found[i] = note;
  });
  std::erase(found, nullptr);
  sortNotes(found, query.sort);
  if (query.limit && found.size() > *query.limit) found.resize(*query.limit);
  return found;
}

}  // namespace vesk
