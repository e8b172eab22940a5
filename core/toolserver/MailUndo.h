#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "core/mail/MailTypes.h"
#include "core/toolserver/AIAction.h"

namespace vesk {

// What the log keeps of an email on either side of a change. Its id in the store is not among it: that of one that went
// to another folder may be another's by now.
struct MailState {
  std::string accountID = {};
  std::string folder = {};                // its path
  std::optional<std::uint32_t> uid = {};  // unknown in a folder that it was moved to
  std::string messageID = {};
  bool isRead = false;
  bool isFlagged = false;
  bool operator==(const MailState&) const = default;
};

MailState stateOf(const MailSummary& mail);
MailState changed(MailState state, const std::vector<MailChange>& changes);

// As JSON, a line for each field; back nullopt for what is none.
std::string toText(const MailState& state);
std::optional<MailState> mailStateFrom(std::string_view text);

// Taking back what an assistant did to mail: the kinds draftEmail and updateEmail. As undo::obstacle, description and
// run, for the mail in a support directory. Failures of its database pass through.
namespace mailUndo {

std::optional<std::string> obstacle(const AIAction& action, const std::string& directory);
std::string description(const AIAction& action);
void run(const AIAction& action, const std::string& directory);

}  // namespace mailUndo

}  // namespace vesk
