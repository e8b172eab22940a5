#include "core/toolserver/tools/ProposalTools.h"

#include "core/base/Time.h"
#include "core/toolserver/ToolResult.h"

namespace vesk {

namespace {

// What the user reads may tell of an email that the assistant may not read.
const std::string& titleFor(const AIAccess& access, const Proposal& proposal) {
  return proposal.titleWithoutMail && !access.canReadEmail ? *proposal.titleWithoutMail : proposal.title;
}

std::string listProposals(ToolContext& context, const ToolArguments& arguments) {
  constexpr std::size_t longestTitle = 400;  // characters
  const auto proposals = context.proposals().all();
  toolResult::Page page("proposals", proposals.size(), arguments.offset(), arguments.limit());
  for (std::size_t i = page.begin(); i < page.end(); ++i) {
    const Proposal& proposal = proposals[i];
    Json entry;
    entry["id"] = toolResult::shortened(proposal.id, longestTitle);
    entry["date"] = time::iso8601(proposal.date);
    entry["tool"] = toolResult::shortened(proposal.tool, longestTitle);
    entry["title"] = toolResult::shortened(titleFor(context.access(), proposal), longestTitle);
    if (proposal.notePath) entry["note"] = toolResult::shortened(*proposal.notePath, longestTitle);
    if (!page.add(std::move(entry))) break;
  }
  return page.text();
}

}  // namespace

Tool listProposalsTool() {
  return {"list_proposals",
          "List the changes waiting for the user's approval. Only the user can approve them, in Vesk.",
          {parameters::limit(), parameters::offset()},
          Effect::reads,
          &AIAccess::canRead,
          listProposals};
}

}  // namespace vesk
