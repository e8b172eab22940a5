#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <optional>
#include <string>
#include <string_view>

#include "core/base/Json.h"
#include "core/toolserver/AIAction.h"
#include "core/toolserver/Proposal.h"

namespace {

using namespace vesk;

void require(bool holds) {
  if (!holds) std::abort();
}

// What was read is written so that it reads the same, but for a date's fraction of a second.
template <typename Record>
void checkRoundTrip(Record record, std::optional<Record> (*read)(const Json&)) {
  const Json written = toJson(record);
  const auto again = read(Json::parse(written.compact()));
  require(again && toJson(*again) == written);
  record.date = again->date;
  require(*again == record);
}

// The lines that stay or are added are the text afterwards, those that stay or are removed the one before.
void checkDiff(const Proposal& proposal) {
  std::string before;
  std::string after;
  for (const DiffLine& line : proposal.diff()) {
    if (line.kind != DiffLine::Kind::added) before.append(line.text).append("\n");
    if (line.kind != DiffLine::Kind::removed) after.append(line.text).append("\n");
  }
  const auto ended = [](const std::optional<std::string>& text) { return text && !text->empty() ? *text + "\n" : ""; };
  require(before == ended(proposal.before) && after == ended(proposal.after));
}

void checkEntry(const Json& json) {
  if (const auto action = actionFrom(json)) checkRoundTrip(*action, actionFrom);
  if (const auto proposal = proposalFrom(json)) {
    checkRoundTrip(*proposal, proposalFrom);
    checkDiff(*proposal);
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  Json json;
  try {
    json = Json::parse(std::string_view(reinterpret_cast<const char*>(data), size));
  } catch (const JsonError&) {
    return 0;
  }
  checkEntry(json);
  if (const Json::Array* entries = json.array())
    for (const Json& entry : *entries) checkEntry(entry);
  return 0;
}
