#include <asio/read_until.hpp>
#include <asio/write.hpp>
#include <functional>
#include <future>

#include "core/mail/IMAPClient.h"
#include "core/mail/MailError.h"
#include "core/mail/network/MailStream.h"
#include "tests/mail/support/LoopbackServer.h"
#include "tests/support/TemporaryFolder.h"

namespace vesk {
namespace {

using namespace std::chrono_literals;
using Kind = MailError::Kind;
using test::LoopbackServer;
using test::ServerSocket;
using test::ServerTLS;

class MailStreams : public testing::Test {
 protected:
  MailStreams() {
    folder_.write("authority.pem", authority.certificate());
    options.extraAuthorities = folder_.at("authority.pem");
  }

  std::unique_ptr<MailStream> open(const LoopbackServer& server, MailSecurity security) const {
    return MailStream::open({.host = "localhost", .port = server.port(), .security = security}, options);
  }

  test::TestAuthority authority;
  MailStreamOptions options;

 private:
  test::TemporaryFolder folder_;
};

std::optional<Kind> failure(const std::function<void()>& action) {
  try {
    action();
  } catch (const MailError& error) {
    return error.kind();
  }
  return std::nullopt;
}

// Says "hello" once it is asked for something, and then what it was asked for.
template <typename Stream>
void echo(Stream& stream) {
  std::string asked;
  asio::read_until(stream, asio::dynamic_buffer(asked), '\n');
  asio::write(stream, asio::buffer("hello " + asked));
}

std::string receiveLine(MailStream& stream) {
  std::string line;
  while (!line.ends_with('\n'))
    if (const auto bytes = stream.receive(10s))
      line += *bytes;
    else
      return line + "(end)";
  return line;
}

TEST_F(MailStreams, TalksInTheClearAndEncrypted) {
  for (const MailSecurity security : {MailSecurity::none, MailSecurity::startTLS, MailSecurity::tls}) {
    SCOPED_TRACE(name(security));
    auto context = test::serverContext(authority.issue());
    LoopbackServer server([&](ServerSocket& socket) {
      if (security != MailSecurity::tls) echo(socket);
      if (security == MailSecurity::none) return;
      ServerTLS tls(socket, context);
      tls.handshake(ServerTLS::server);
      echo(tls);
    });
    const auto stream = open(server, security);
    EXPECT_TRUE(stream->isPrivate());
    if (security != MailSecurity::tls) {
      // What comes too late is still there for the next call.
      EXPECT_EQ(failure([&] { stream->receive(1ms); }), Kind::timedOut);
      stream->send("first\n");
      EXPECT_EQ(receiveLine(*stream), "hello first\n");
    }
    if (security == MailSecurity::startTLS) stream->startTLS();
    if (security != MailSecurity::none) {
      EXPECT_EQ(failure([&] { stream->receive(1ms); }), Kind::timedOut);
      stream->send("second\n");
      EXPECT_EQ(receiveLine(*stream), "hello second\n");
    }
    EXPECT_EQ(stream->receive(10s), std::nullopt);
    stream->close();
    EXPECT_EQ(failure([&] { stream->send("x"); }), Kind::closed);
    EXPECT_EQ(stream->receive(1s), std::nullopt);
  }
}

TEST_F(MailStreams, TrustsNoServerThatCantProveItsName) {
  struct Case {
    const char* description;
    test::Certificate certificate;
    Kind failure;
    const char* ciphers = "DEFAULT";
    int maximumVersion = TLS1_3_VERSION;
  };
  const test::TestAuthority stranger;
  const Case cases[] = {
      {"expired", authority.issue({.validFrom = -7200, .validTo = -3600}), Kind::insecureServer},
      {"not valid yet", authority.issue({.validFrom = 1800}), Kind::insecureServer},
      {"another host", authority.issue({.host = "localhost.example.org"}), Kind::insecureServer},
      {"any host", authority.issue({.host = "*"}), Kind::insecureServer},
      {"self-signed", test::TestAuthority::selfSigned(), Kind::insecureServer},
      {"another authority", stranger.issue(), Kind::insecureServer},
      {"old protocol", authority.issue(), Kind::cantConnect, "DEFAULT@SECLEVEL=0", TLS1_1_VERSION},
  };
  for (const Case& each : cases) {
    for (const MailSecurity security : {MailSecurity::startTLS, MailSecurity::tls}) {
      SCOPED_TRACE(each.description);
      auto context = test::serverContext(each.certificate);
      SSL_CTX_set_min_proto_version(context.native_handle(), TLS1_VERSION);
      SSL_CTX_set_max_proto_version(context.native_handle(), each.maximumVersion);
      SSL_CTX_set_cipher_list(context.native_handle(), each.ciphers);
      LoopbackServer server([&](ServerSocket& socket) { ServerTLS(socket, context).handshake(ServerTLS::server); });
      EXPECT_EQ(failure([&] {
                  const auto stream = open(server, security);
                  if (security == MailSecurity::startTLS) stream->startTLS();
                }),
                each.failure);
    }
  }
  options.extraAuthorities.clear();  // the system doesn't know this authority
  auto context = test::serverContext(authority.issue());
  LoopbackServer server([&](ServerSocket& socket) { ServerTLS(socket, context).handshake(ServerTLS::server); });
  EXPECT_EQ(failure([&] { open(server, MailSecurity::tls); }), Kind::insecureServer);
}

TEST_F(MailStreams, FailsInAWordWhenThereIsNoServerOrNoHandshake) {
  const auto opening = [&](const std::string& host, std::uint16_t port) {
    return failure([&] { MailStream::open({.host = host, .port = port}, options); });
  };
  std::uint16_t freePort = 0;
  {
    freePort = LoopbackServer([](ServerSocket&) {}).port();
  }
  EXPECT_EQ(opening("localhost", freePort), Kind::cantConnect);
  EXPECT_EQ(opening("no-such-host.invalid", 993), Kind::cantConnect);
  EXPECT_EQ(opening("", 993), Kind::cantConnect);

  const LoopbackServer closing([](ServerSocket&) {});
  EXPECT_EQ(failure([&] { open(closing, MailSecurity::tls); }), Kind::cantConnect);
  const LoopbackServer plain([](ServerSocket& socket) { asio::write(socket, asio::buffer("* OK IMAP4rev1\r\n", 16)); });
  EXPECT_EQ(failure([&] { open(plain, MailSecurity::tls); }), Kind::cantConnect);
  options.connectTimeout = 50ms;
  const LoopbackServer silent([](ServerSocket& socket) { test::readToEnd(socket); });
  EXPECT_EQ(failure([&] { open(silent, MailSecurity::tls); }), Kind::timedOut);
  options.extraAuthorities += ".missing";
  EXPECT_THROW(open(silent, MailSecurity::tls), Error);
}

TEST_F(MailStreams, IsCancelledFromAnotherThread) {
  for (const bool isConnected : {false, true}) {
    std::stop_source source;
    options.cancelled = source.get_token();
    const LoopbackServer silent([&](ServerSocket& socket) {
      source.request_stop();
      test::readToEnd(socket);
    });
    EXPECT_EQ(failure([&] {
                const auto stream = open(silent, isConnected ? MailSecurity::none : MailSecurity::tls);
                stream->receive(10min);
              }),
              Kind::closed);
    EXPECT_EQ(failure([&] { open(silent, MailSecurity::none); }), Kind::closed);
  }
}

TEST_F(MailStreams, GivesUpOnAServerThatDoesNotTakeWhatItSends) {
  options.sendTimeout = 50ms;
  std::promise<void> done;
  const LoopbackServer deaf([&](ServerSocket&) { done.get_future().wait(); });
  const auto stream = open(deaf, MailSecurity::none);
  EXPECT_EQ(failure([&] { stream->send(std::string(std::size_t{64} << 20, 'x')); }), Kind::timedOut);
  done.set_value();
}

// An attacker on the way adds a command's answer to the one that ends the talk in the clear.
TEST_F(MailStreams, BelievesNothingThatWasSaidBeforeTLS) {
  auto context = test::serverContext(authority.issue());
  for (const char* reply : {"V1 OK go\r\n* CAPABILITY EVIL\r\n", "V1 OK go\r\nV", "V1 BAD what?\r\n"}) {
    SCOPED_TRACE(reply);
    std::promise<std::string> rest;
    const LoopbackServer server([&](ServerSocket& socket) {
      asio::write(socket, asio::buffer("* OK ready\r\n", 12));
      std::string asked;
      asio::read_until(socket, asio::dynamic_buffer(asked), '\n');
      asio::write(socket, asio::buffer(std::string(reply)));
      rest.set_value(test::readToEnd(socket));
    });
    IMAPClient client(open(server, MailSecurity::startTLS));
    EXPECT_EQ(failure([&] { client.start("ana", "secret", MailSecurity::startTLS); }), Kind::insecureServer);
    EXPECT_EQ(rest.get_future().get(), "");
  }
}

}  // namespace
}  // namespace vesk
