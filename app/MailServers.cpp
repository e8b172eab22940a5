#include "app/MailServers.h"

#include <charconv>
#include <cstddef>
#include <optional>
#include <string>
#include <system_error>
#include <utility>

#include <fmt/format.h>

#include "app/MailLogin.h"
#include "app/Terminal.h"
#include "core/base/Error.h"
#include "core/base/Text.h"

namespace vesk::app {

namespace {

std::uint16_t portFrom(std::string_view typed) {
  std::uint16_t port = 0;
  const char* end = typed.data() + typed.size();
  const auto [read, failure] = std::from_chars(typed.data(), end, port);
  if (failure != std::errc() || read != end || port == 0)
    throw Error(fmt::format("\"{}\" is no port. One is a number from 1 to 65535.", typed));
  return port;
}

// "imap.example.org", "imap.example.org:993", "::1" or "[::1]:993"; the port is 0 where none is given.
MailServer serverFrom(std::string_view typed) {
  const std::size_t colon = typed.rfind(':');
  const bool isBracketed = typed.starts_with('[');
  const bool hasPort = colon != std::string_view::npos &&
                       (isBracketed ? colon > 0 && typed[colon - 1] == ']' : typed.find(':') == colon);
  std::string_view host = hasPort ? typed.substr(0, colon) : typed;
  if (isBracketed && host.ends_with(']')) host = host.substr(1, host.size() - 2);
  if (host.empty()) throw Error(fmt::format("{} names no server. Write HOST or HOST:PORT.", typed));
  return {.host = std::string(host), .port = hasPort ? portFrom(typed.substr(colon + 1)) : std::uint16_t{0}};
}

const char* words(MailSecurity security) {
  return security == MailSecurity::tls ? "TLS" : security == MailSecurity::startTLS ? "STARTTLS" : "not encrypted";
}

// How much a failure tells: that a server refuses the password, more than that another one isn't there.
int weight(MailError::Kind kind) {
  switch (kind) {
    case MailError::Kind::cantConnect: return 0;
    case MailError::Kind::closed:
    case MailError::Kind::timedOut: return 1;
    case MailError::Kind::insecureServer: return 2;
    default: return 3;
  }
}

}  // namespace

MailServers serversNamed(std::string_view typed, std::string_view security, const MailPorts& ports) {
  const MailServer server = serverFrom(typed);
  MailServers ways;
  for (const MailSecurity each : {MailSecurity::tls, MailSecurity::startTLS, MailSecurity::none}) {
    if (security.empty() ? each == MailSecurity::none : !text::equalIgnoringCase(security, name(each))) continue;
    const std::uint16_t usual = each == MailSecurity::tls ? ports.tls : ports.startTLS;
    const bool isOthers = security.empty() && (server.port == ports.tls || server.port == ports.startTLS);
    if (isOthers && server.port != usual) continue;
    ways.push_back({server.host, server.port == 0 ? usual : server.port, each});
  }
  return ways;
}

MailServer firstThatWorks(const MailServers& servers, const MailAccount& account,
                          const std::function<void(const MailServer&)>& logIn) {
  std::optional<std::pair<int, std::string>> reason;
  std::string distrusted;  // where another way to encrypt changes nothing
  for (const MailServer& server : servers) {
    if (hostAndPort(server) == distrusted) continue;
    print("  {}, {}: ", safe(hostAndPort(server)), words(server.security));
    flush();
    try {
      logIn(server);
      print("works\n");
      return server;
    } catch (const MailError& error) {
      print("{}\n", error.kind() == MailError::Kind::wrongPassword ? "refuses the password" : "doesn't work");
      const int told = weight(error.kind());
      if (!reason || told > reason->first) reason.emplace(told, explained(error, account, server));
      if (error.kind() == MailError::Kind::insecureServer) distrusted = hostAndPort(server);
      if (error.kind() == MailError::Kind::wrongPassword) break;  // it is the right one
    }
  }
  throw Error(reason ? reason->second : "No server is known for this address.");
}

}  // namespace vesk::app
