#include "core/assistant/ConversationImport.h"

#include <set>
#include <string_view>

#include <fmt/format.h>

#include "core/assistant/ConversationExport.h"
#include "core/base/Error.h"
#include "core/base/Json.h"

namespace vesk {

namespace {

std::set<std::string> importedIDs(const Vault& vault, ChatProvider provider) {
  std::set<std::string> ids;
  for (const SavedChatNote& note : savedChats(vault, provider)) ids.insert(note.chat.imported);
  return ids;
}

void requireExportOf(ChatProvider provider, const Json& conversation) {
  const auto exporter = ConversationExport::provider(conversation);
  if (exporter && *exporter != provider)
    throw Error(fmt::format("This file was exported from {}, not from {}.", name(*exporter), name(provider)));
}

class Importer {
 public:
  Importer(const Vault& vault, ChatProvider provider, const Calendar& calendar)
      : vault_(vault), provider_(provider), calendar_(calendar), known_(importedIDs(vault, provider)) {
    done_.folder = chatsFolder(vault);
  }

  void add(const JsonArrayReader::Element& element) {
    if (element.isTooLong)
      return skip(fmt::format("It is longer than {} MB.", ConversationImport::longestConversation >> 20));
    if (const auto chat = read(element.text)) save(*chat);
  }

  ConversationImport& done() { return done_; }

 private:
  std::optional<SavedChat> read(std::string_view text) {
    Json conversation;
    try {
      conversation = Json::parse(text);
    } catch (const JsonError&) {
      skip("It can't be read as JSON.");
      return std::nullopt;
    }
    requireExportOf(provider_, conversation);
    try {
      return ConversationExport::read(conversation);
    } catch (const Error& error) {
      skip(error.what());
      return std::nullopt;
    }
  }

  void save(const SavedChat& chat) {
    if (known_.contains(chat.imported)) {
      ++done_.alreadyThere;
      return;
    }
    saveChat(vault_, chat, done_.folder, calendar_);
    known_.insert(chat.imported);
    ++done_.imported;
  }

  void skip(std::string_view reason) {
    ++done_.skipped;
    if (done_.skips.size() < ConversationImport::namedSkips) done_.skips.push_back({done_.seen(), std::string(reason)});
  }

  const Vault& vault_;
  ChatProvider provider_;
  const Calendar& calendar_;
  std::set<std::string> known_;
  ConversationImport done_;
};

}  // namespace

ConversationImport importConversations(const Vault& vault, ChatProvider provider, const PieceReader& file,
                                       const Calendar& calendar,
                                       const std::function<void(const ConversationImport&)>& onProgress) {
  JsonArrayReader conversations(file, ConversationImport::longestConversation);
  Importer importer(vault, provider, calendar);
  while (const auto element = conversations.next()) {
    importer.add(*element);
    if (onProgress) onProgress(importer.done());
  }
  importer.done().isCutOff = !conversations.isWhole();
  return importer.done();
}

}  // namespace vesk
