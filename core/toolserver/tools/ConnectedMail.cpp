#include "core/toolserver/tools/ConnectedMail.h"

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <optional>
#include <utility>

#include <fmt/format.h>

#include "core/base/Text.h"
#include "core/mail/MIME.h"
#include "core/toolserver/ToolError.h"
#include "core/toolserver/ToolResult.h"

namespace vesk::connectedMail {

std::unique_ptr<MailStore> store(const ToolContext& context) {
  auto store = MailStore::openIfThere(context.directory());
  if (!store || store->accounts().empty()) throw ToolError("No email account is connected in Vesk.");
  return store;
}

const MailAccount& accountNamed(const std::vector<MailAccount>& accounts, std::string_view given) {
  const std::string_view address = text::trimSpaces(given);
  const auto isIt = [&](const MailAccount& account) { return text::equalIgnoringCase(account.address, address); };
  const auto found = std::ranges::find_if(accounts, isIt);
  if (found == accounts.end()) throw ToolError(fmt::format("No connected account is {}", address));
  return *found;
}

MailDetail mail(const MailStore& store, std::string_view id) {
  std::int64_t number = 0;
  const auto [end, error] = std::from_chars(id.data(), id.data() + id.size(), number);
  const bool isNumber = error == std::errc() && end == id.data() + id.size();
  auto mail = isNumber ? store.message(number) : std::nullopt;
  if (!mail)
    throw ToolError(fmt::format("No email has the id {}. Use list_emails or search_emails.", toolResult::quoted(id)));
  return std::move(*mail);
}

std::string shownLine(std::string_view line, std::size_t characters) {
  return toolResult::shortened(MIME::visibleText(line).text, characters);
}

std::string shown(const MailAddress& person) {
  const std::string name = shownLine(person.name, nameCharacters);
  const std::string address = shownLine(person.address, nameCharacters);
  return name.empty() ? address : fmt::format("{} <{}>", name, address);
}

std::vector<std::string> shown(const std::vector<MailAddress>& people) {
  std::vector<std::string> all;
  for (const MailAddress& person : people) all.push_back(shown(person));
  return all;
}

}  // namespace vesk::connectedMail
