#include <algorithm>
#include <atomic>
#include <chrono>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include <fmt/format.h>
#include <gtest/gtest.h>

#include "core/base/Text.h"
#include "core/toolserver/AIActionLog.h"
#include "core/toolserver/Proposal.h"
#include "tests/support/RunProgram.h"
#include "tests/toolserver/ServedVault.h"

namespace vesk {
namespace {

constexpr int servers = 8;
constexpr int calls = 500;

// What one assistant asks for: changes that wait, and searches that are logged.
std::string session(int server) {
  std::string input;
  for (int call = 0; call < calls; ++call) {
    input += fmt::format(R"({{"id":1,"method":"tools/call","params":{{"name":"create_folder","arguments":)"
                         R"({{"name":"s{}c{}","parent":"Inbox"}}}}}})"
                         "\n",
                         server, call);
    input += fmt::format(
        R"({{"id":2,"method":"tools/call","params":{{"name":"search_notes","arguments":{{"query":"s{}c{}"}}}}}})"
        "\n",
        server, call);
  }
  return input;
}

// Eight assistants at once, and the user who declines some of what they ask for meanwhile.
TEST(ManyServers, LoseNothing) {
  const test::ServedVault vault;
  vault.folder.write("Inbox/Plan.md", "Plan\n");
  vault.allowAll(ApprovalLevel::always);
  const ProposalStore store(vault.folder.supportDirectory());
  const AIActionLog log(vault.folder.supportDirectory());

  std::vector<std::thread> clients;
  std::atomic<int> running = servers;
  for (int server = 0; server < servers; ++server)
    clients.emplace_back([&, server] {
      const auto run = test::runProgram({VESK_BIN_DIR "/vesk-mcp"}, {.input = session(server)});
      EXPECT_EQ(run.exitStatus, 0);
      EXPECT_EQ(run.output.find("isError"), std::string::npos);
      --running;
    });
  std::set<std::string> declined;
  while (running > 0) {
    std::this_thread::sleep_for(std::chrono::milliseconds(300));
    log.recent(1);
    auto waiting = store.all();
    waiting.resize(std::min({waiting.size(), std::size_t{20}, 200 - declined.size()}));
    for (const Proposal& proposal : waiting) {
      store.remove(proposal.id);
      declined.insert(proposal.arguments);
    }
  }
  for (std::thread& client : clients) client.join();

  std::set<std::string> kept = declined;
  for (const Proposal& proposal : store.all()) EXPECT_TRUE(kept.insert(proposal.arguments).second) << "not declined";
  EXPECT_EQ(kept.size(), std::size_t{servers} * calls);
  std::set<std::string> searched;
  for (const AIAction& action : log.recent(100'000)) searched.insert(action.title);
  EXPECT_EQ(searched.size(), std::size_t{servers} * calls);
}

}  // namespace
}  // namespace vesk
