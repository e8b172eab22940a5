#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "core/mail/MailStore.h"
#include "core/toolserver/ToolContext.h"

// What the tools for mail have in common.
namespace vesk::connectedMail {

inline constexpr const char* idMissing = "The email's id is required.";

inline constexpr std::size_t subjectCharacters = 200;
inline constexpr std::size_t nameCharacters = 100;
inline constexpr std::size_t addressUnits = 1'500;  // of a list of addresses, and of attachments

// ToolError when no account is connected.
std::unique_ptr<MailStore> store(const ToolContext& context);

// The account with that address, around which spaces don't matter. ToolError when none has it.
const MailAccount& accountNamed(const std::vector<MailAccount>& accounts, std::string_view given);

// The mail with that id. ToolError when there is none.
MailDetail mail(const MailStore& store, std::string_view id);

// A line as a reader sees it, and not too much of it.
std::string shownLine(std::string_view line, std::size_t characters);

// "Ana <ana@example.org>", likewise.
std::string shown(const MailAddress& person);
std::vector<std::string> shown(const std::vector<MailAddress>& people);

}  // namespace vesk::connectedMail
