#include "core/assistant/SavedChat.h"

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <mutex>
#include <utility>

#include <fmt/format.h>

#include "core/base/Ascii.h"
#include "core/base/AsciiSearch.h"
#include "core/base/Error.h"
#include "core/base/Text.h"
#include "core/platform/Folder.h"
#include "core/vault/MarkdownFile.h"
#include "core/vault/MarkdownView.h"
#include "core/vault/Note.h"
#include "core/vault/Places.h"
#include "core/vault/VaultSnapshot.h"

namespace vesk {

namespace {

constexpr std::string_view folderName = "Chats";
constexpr std::string_view untitled = "Chat";
constexpr std::string_view sessionKey = "session";
constexpr std::string_view importedKey = "imported";

// The beginning of a title that leaves room in a file's name for the day and a number.
std::string_view shortened(std::string_view title, std::size_t characters) {
  constexpr std::size_t bytes = 200;
  return text::trimWhitespace(text::firstBytes(text::firstCharacters(title, characters), bytes));
}

std::string oneLine(std::string_view title) {
  std::string line = text::collapseWhitespace(text::wellFormed(title));
  return line.empty() ? std::string(untitled) : line;
}

std::string idIn(const MarkdownView& note, std::string_view key) {
  const auto id = markdown::value(note.frontmatter, key);
  return id && isChatID(*id) ? std::string(*id) : std::string();
}

// What the front matter says of the chat.
std::optional<SavedChat> headerOf(const MarkdownView& note) {
  const auto tags = markdown::tags(note.frontmatter);
  if (std::find(tags.begin(), tags.end(), chatTag) == tags.end()) return std::nullopt;
  const auto provider = chatProviderWithID(markdown::value(note.frontmatter, "provider").value_or(""));
  if (!provider) return std::nullopt;
  const auto started = time::parseIso8601(markdown::value(note.frontmatter, "started").value_or(""));
  return SavedChat{.provider = *provider,
                   .session = idIn(note, sessionKey),
                   .imported = idIn(note, importedKey),
                   .started = started.value_or(distantPast)};
}

// Never a hidden name, nor one that a file's name leaves nothing of.
std::string noteName(const SavedChat& chat, const Calendar& calendar) {
  const std::string line = oneLine(chat.title);
  const bool isDated = chat.started != distantPast;
  return fmt::format("{} {}", isDated ? time::isoDay(calendar.day(chat.started)) : std::string(untitled),
                     shortened(line, 80));
}

}  // namespace

// ---- The note

std::string SavedChat::noteText() const {
  MarkdownFile file;
  file.frontmatter.push_back(fmt::format("provider: {}", id(provider)));
  if (isChatID(session)) file.frontmatter.push_back(fmt::format("{}: {}", sessionKey, session));
  if (isChatID(imported)) file.frontmatter.push_back(fmt::format("{}: {}", importedKey, imported));
  if (started != distantPast) file.frontmatter.push_back("started: " + time::iso8601(started));
  file.body = fmt::format("# {}\n", oneLine(title));
  for (const ChatTurn& turn : turns) file.body += ChatTurns::render(turn, provider);
  return Vault::noteText(file.serialized(), {std::string(chatTag)});
}

std::optional<SavedChat> SavedChat::parse(std::string_view noteText) {
  const MarkdownView note(noteText);
  auto chat = headerOf(note);
  if (!chat) return std::nullopt;
  chat->title = noteTitle(note, "");
  chat->turns = ChatTurns::parse(note.body);
  return chat;
}

bool isChatID(std::string_view text) {
  constexpr std::size_t longest = 128;
  const auto mayBeIn = [](char c) {
    return ascii::isLetter(c) || ascii::isDigit(c) || std::string_view("-_.:").find(c) != std::string_view::npos;
  };
  return !text.empty() && text.size() <= longest && !text.starts_with('-') && std::ranges::all_of(text, mayBeIn);
}

std::string chatTitle(std::string_view firstWords) {
  constexpr std::size_t looked = 1000;  // bytes, of words that may be a whole book
  constexpr std::size_t characters = 60;
  const std::string words = oneLine(text::trimWhitespace(firstWords.substr(0, looked)));
  return std::string(shortened(words, characters));
}

// ---- In the vault

std::string chatsFolder(const Vault& vault) {
  const std::string resources =
      placeFolder(vault, Bucket::resources).value_or(std::string(bucket::name(Bucket::resources)));
  for (const FolderSummary& each : vault.folders())
    if (parentPath(each.path) == resources && text::equalIgnoringCase(lastComponent(each.path), folderName))
      return each.path;
  return joinPath(resources, folderName);
}

std::string saveChat(const Vault& vault, const SavedChat& chat, std::string_view folder, const Calendar& calendar) {
  return vault.createNote(noteName(chat, calendar), chat.noteText(), {}, folder);
}

void appendTurn(const Vault& vault, std::string_view noteID, const ChatTurn& turn, ChatProvider provider) {
  vault.append(ChatTurns::render(turn, provider), noteID);
}

void setChatSession(const Vault& vault, std::string_view noteID, std::string_view session) {
  if (!isChatID(session)) throw Error("This is no session of an assistant.");
  vault.rewrite(noteID, [&](const std::string& text) {
    if (!headerOf(MarkdownView(text))) return text;
    MarkdownFile file(text);
    const auto isSession = [](const std::string& line) {
      return text::trimSpaces(std::string_view(line).substr(0, line.find(':'))) == sessionKey;
    };
    auto line = std::ranges::find_if(file.frontmatter, isSession);
    if (line == file.frontmatter.end()) line = file.frontmatter.insert(line, "");
    const bool isWindows = file.frontmatter.front().ends_with('\r');
    *line = fmt::format("{}: {}{}", sessionKey, session, isWindows ? "\r" : "");
    return file.serialized();
  });
}

std::vector<SavedChatNote> savedChats(const Vault& vault, std::optional<ChatProvider> provider) {
  const text::AsciiSearch mark(chatTag);  // tells fast that most notes are none
  std::mutex mutex;
  std::vector<SavedChatNote> found;
  vault.scanOnce([&](const NoteFile& file) {
    if (mark.find(file.text, 0) == std::string_view::npos) return false;
    const MarkdownView note(file.text);
    auto chat = headerOf(note);
    if (!chat || (provider && chat->provider != *provider) || !text::isValidUtf8(file.text)) return false;
    chat->title = noteTitle(note, file.fileName());
    const std::lock_guard lock(mutex);
    found.push_back({std::string(file.id), std::move(*chat)});
    return false;  // what is needed of it is known
  });
  std::ranges::sort(found, [](const SavedChatNote& a, const SavedChatNote& b) {
    return a.chat.started != b.chat.started ? a.chat.started > b.chat.started : listedBefore(a.noteID, b.noteID);
  });
  return found;
}

std::optional<SavedChatNote> chatOfSession(const Vault& vault, ChatProvider provider, std::string_view session) {
  for (SavedChatNote& each : savedChats(vault, provider))
    if (!session.empty() && each.chat.session == session) return std::move(each);
  return std::nullopt;
}

}  // namespace vesk
