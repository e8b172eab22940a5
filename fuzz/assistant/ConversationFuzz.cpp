#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "core/assistant/ConversationExport.h"
#include "core/assistant/JsonArrayReader.h"
#include "core/assistant/SavedChat.h"
#include "core/base/Error.h"
#include "core/base/Json.h"
#include "core/base/Text.h"

namespace {

using namespace vesk;

void require(bool holds) {
  if (!holds) std::abort();
}

// The elements told apart when the text comes in pieces of that size; nullopt for one that is no array.
std::optional<std::vector<std::string>> elements(std::string_view text, std::size_t size) {
  const auto next = [&] {
    const std::string_view piece = text.substr(0, size);
    text.remove_prefix(piece.size());
    return piece;
  };
  try {
    JsonArrayReader reader(next, 4096);
    std::vector<std::string> found;
    while (const auto element = reader.next()) {
      require(element->isTooLong ? element->text.empty() : element->text.size() <= 4096);
      found.emplace_back(element->text);
    }
    return found;
  } catch (const Error&) {
    return std::nullopt;
  }
}

// A chat reads back from its note as it is kept.
void checkNote(SavedChat chat) {
  for (ChatTurn& turn : chat.turns) turn.text = ChatTurns::kept(turn.text);
  const std::string note = chat.noteText();
  const auto again = SavedChat::parse(note);
  require(text::isValidUtf8(note) && again.has_value());
  require(again->turns == chat.turns && again->imported == chat.imported && again->started == chat.started);
  require(again->noteText() == note);
}

void checkConversation(std::string_view text) {
  try {
    checkNote(ConversationExport::read(Json::parse(text)));
  } catch (const Error&) {
    return;
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  const auto whole = elements(text, std::max<std::size_t>(size, 1));
  require(elements(text, 7) == whole);
  for (const std::string& element : whole.value_or(std::vector<std::string>())) checkConversation(element);

  // The bytes as what two sides say.
  const std::string_view first = text.substr(0, size / 2);
  checkNote({.provider = ChatProvider::codex,
             .title = "T",
             .turns = {{ChatSpeaker::user, std::string(first)},
                       {ChatSpeaker::assistant, std::string(text.substr(first.size()))}}});
  return 0;
}
