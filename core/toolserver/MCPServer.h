#pragma once

#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "core/base/Json.h"
#include "core/toolserver/Proposal.h"
#include "core/toolserver/Surroundings.h"
#include "core/toolserver/Tool.h"

namespace vesk {

// The tool server: the Model Context Protocol over one line of JSON-RPC 2.0 a message.
//
// Holds nothing between two calls but the support directory's path: each call reads the user's switches and the vault
// afresh, so that what the user changes takes effect at once. Requests need no `initialize` before them.
class MCPServer {
 public:
  // `directory` is the support directory, shared with Vesk's other programs.
  explicit MCPServer(std::string directory, Surroundings surroundings = {})
      : directory_(std::move(directory)), surroundings_(std::move(surroundings)) {}

  // Answers one message with one line, without its "\n"; nullopt when it needs no answer. Never throws for what the
  // line holds: what can't be read is answered with a parse error, and a failure of a tool is a result flagged
  // "isError".
  //
  // What the call has read is handed over in `remains`, when given: to free ten thousand notes takes its time, and the
  // client need not wait for that.
  using Remains = std::shared_ptr<const void>;
  std::optional<std::string> handle(std::string_view line, Remains* remains = nullptr) const;

  // The answer to a line that can't be read.
  static std::string parseError();

  // Carries out one tool; returns its result's text. A change that must wait for the user is stored as a proposal
  // instead, unless it is `approved`. Throws ToolError for what the user's switches forbid and for what the tool
  // refuses; failures of the vault and of the file system pass through.
  std::string run(std::string_view name, const Json::Object& arguments, bool approved = false,
                  Remains* remains = nullptr) const;

  // Carries out a proposal that the user approved, exactly as it was shown, and drops it from the store. Throws, and
  // the proposal is kept: VaultError::conflict when its note changed since it was proposed, ProposalError for
  // everything that the tool refuses, and when the proposal itself is gone or another.
  void apply(const Proposal& proposal) const;

  // What an assistant is told when it connects: how the vault is organized, how to work in it, and the user's own
  // rules.
  std::string instructions() const;

 private:
  Json initializeResult(const Json& params) const;
  Json callResult(const Json& params, Remains* remains) const;
  ToolContext contextFor(std::string_view name, std::string changeID, const Proposal* approved = nullptr) const;
  std::string propose(const Tool& tool, const ToolContext& context, const ToolArguments& arguments,
                      const PlannedChange& change) const;
  std::map<std::string, TextChange> carryOut(const Proposal& proposal) const;  // the texts that it changed
  PlannedChange planned(const Proposal& proposal, ToolContext& context) const;
  void bringAlong(const std::map<std::string, TextChange>& texts) const;
  void bringAlong(Proposal proposal, const TextChange& text) const;

  std::string directory_;
  Surroundings surroundings_;
};

}  // namespace vesk
