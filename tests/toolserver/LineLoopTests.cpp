#include <csignal>
#include <fcntl.h>
#include <future>
#include <string>
#include <string_view>
#include <unistd.h>

#include <fmt/format.h>
#include <gtest/gtest.h>
#include <sys/socket.h>

#include "core/platform/Fd.h"
#include "core/toolserver/LineLoop.h"
#include "tests/support/RunProgram.h"
#include "tests/support/TemporaryFolder.h"

namespace vesk {
namespace {

const std::string ping = R"({"id":1,"method":"ping"})";
const std::string pong = "{\"id\":1,\"jsonrpc\":\"2.0\",\"result\":{}}\n";
const std::string parseError = MCPServer::parseError() + "\n";

// What vesk-mcp answers to a whole input.
std::string served(const std::string& input) {
  const test::TemporaryFolder folder;
  const auto result = test::runProgram({VESK_BIN_DIR "/vesk-mcp"}, {.input = input});
  EXPECT_EQ(result.exitStatus, 0);
  EXPECT_EQ(result.errors, "");
  return result.output;
}

// The server's end of a connection, and the client's.
struct Connection {
  Connection() {
    int ends[2] = {-1, -1};
    EXPECT_EQ(::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends), 0);
    server = Fd(ends[0]);
    client = Fd(ends[1]);
    std::signal(SIGPIPE, SIG_IGN);
  }
  void send(const std::string& text) const {
    EXPECT_EQ(::send(client.get(), text.data(), text.size(), 0), static_cast<ssize_t>(text.size()));
  }
  void serve() const { serveLines(MCPServer(folder.supportDirectory()), server.get(), server.get()); }

  const test::TemporaryFolder folder;
  Fd server;
  Fd client;
};

TEST(LineLoop, AnswersLineByLine) {
  EXPECT_EQ(served(""), "");
  EXPECT_EQ(served(ping + "\r\n" + ping), pong + pong);  // the last line may lack its end
  EXPECT_EQ(served("\n" + ping + "\n\n" + ping + "\n"), parseError + pong + parseError + pong);
  EXPECT_EQ(served(ping + "\n{\"method\":\"ping\"}\nx"), pong + parseError);
  EXPECT_EQ(served(std::string(1, '\0') + "\n" + ping), parseError + pong);

  const std::string tooLong(maximumLine + (std::size_t{1} << 20), ' ');
  EXPECT_EQ(served(tooLong + tooLong + "\n" + ping), parseError + pong);
  const std::string longest = fmt::format(R"({{"id":1,"method":"x","more":"{}"}})", std::string(maximumLine - 40, 'x'));
  EXPECT_NE(served(longest + "\n" + tooLong).find("Method not found"), std::string::npos);
}

// Some clients leave their ends non-blocking.
TEST(LineLoop, AnswersManyLinesInOrder) {
  std::string requests;
  std::string answers;
  for (int id = 0; id < 20'000; ++id) {
    requests += fmt::format("{{\"id\":{},\"method\":\"ping\"}}\n", id);
    answers += fmt::format("{{\"id\":{},\"jsonrpc\":\"2.0\",\"result\":{{}}}}\n", id);
  }
  Connection connection;
  ASSERT_EQ(::fcntl(connection.server.get(), F_SETFL, O_NONBLOCK), 0);
  const auto serving = std::async(std::launch::async, [&] {
    connection.serve();
    ::shutdown(connection.server.get(), SHUT_WR);
  });
  const auto sending = std::async(std::launch::async, [&] {
    connection.send(requests);
    ::shutdown(connection.client.get(), SHUT_WR);
  });
  std::string received;
  char buffer[1 << 14];
  for (ssize_t got = 1; got > 0; received.append(buffer, static_cast<std::size_t>(got)))
    got = ::read(connection.client.get(), buffer, sizeof buffer);
  EXPECT_TRUE(received == answers) << received.size();
}

TEST(LineLoop, EndsWhenTheClientIsGone) {
  for (const char* unread : {"", "an answer that nobody has read"}) {
    Connection connection;
    connection.send(ping + "\n" + ping + "\n");
    ASSERT_GE(::write(connection.server.get(), unread, std::string_view(unread).size()), 0);
    connection.client = Fd();
    EXPECT_NO_THROW(connection.serve());
  }
}

}  // namespace
}  // namespace vesk
