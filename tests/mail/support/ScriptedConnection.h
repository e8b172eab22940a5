#pragma once

#include <algorithm>
#include <cstddef>
#include <deque>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include <gtest/gtest.h>

#include "core/base/Text.h"
#include "core/mail/MailConnection.h"
#include "core/mail/MailError.h"
#include "core/mail/MailServer.h"

namespace vesk::test {

// A mail server that plays a script, line by line:
//
//   S: * OK hello      the server says that line
//   s: * OK hel        or bytes without a line break
//   C: V1 NOOP         the client has to say that line now
//   c: V1              or these bytes
//   TLS                it has to shake hands
//   silence            a call to receive() times out
//
// The connection ends with the script.
class ScriptedConnection final : public MailConnection {
 public:
  explicit ScriptedConnection(std::string_view script) {
    for (const auto line : text::split(script, '\n'))
      if (!line.empty()) steps.emplace_back(line);
  }

  std::deque<std::string> steps;
  std::size_t chunk = maximumChunk;  // bytes given at once
  bool isPrivateAlready = true;      // before TLS
  bool didTLS = false;
  bool isClosed = false;
  std::string sent;

  void send(std::string_view bytes) override {
    if (isClosed) throw MailError::closed();
    sent += bytes;
    for (unanswered_ += bytes; !unanswered_.empty() && (isNext("C: ") || isNext("c: ")); steps.pop_front()) {
      const std::string expected = steps.front().substr(3) + (isNext("C: ") ? "\r\n" : "");
      if (unanswered_.size() < expected.size() && expected.starts_with(unanswered_)) return;
      EXPECT_EQ(unanswered_.substr(0, expected.size()), expected);
      unanswered_.erase(0, expected.size());
    }
  }

  std::optional<std::string_view> receive(std::chrono::milliseconds) override {
    if (isClosed) return std::nullopt;
    if (given_ == said_.size()) {
      said_.clear();
      given_ = 0;
      for (; isNext("S:") || isNext("s:"); steps.pop_front())
        said_ += steps.front().substr(std::min<std::size_t>(3, steps.front().size())) + (isNext("S:") ? "\r\n" : "");
    }
    if (said_.empty() && steps.empty()) return std::nullopt;
    if (said_.empty()) {
      if (isNext("silence")) steps.pop_front();
      throw MailError::timedOut();  // the server waits for the client
    }
    const auto piece = std::string_view(said_).substr(given_, chunk);
    given_ += piece.size();
    return piece;
  }

  void startTLS() override {
    EXPECT_TRUE(isNext("TLS"));
    if (!steps.empty()) steps.pop_front();
    didTLS = true;
  }

  bool isPrivate() const override { return isPrivateAlready || didTLS; }

  void close() noexcept override { isClosed = true; }

 private:
  bool isNext(std::string_view step) const { return !steps.empty() && steps.front().starts_with(step); }

  std::string said_;
  std::size_t given_ = 0;
  std::string unanswered_;  // what the client said before the script expects it
};

// A client, and the script its server plays.
template <typename Client, typename Limits>
struct ScriptedSession {
  ScriptedConnection* server = nullptr;
  Client client;

  explicit ScriptedSession(std::string_view script, const Limits& limits = {})
      : ScriptedSession(new ScriptedConnection(script), limits) {}
  void start(MailSecurity security = MailSecurity::tls) { client.start("ana", "secret", security); }

 private:
  ScriptedSession(ScriptedConnection* connection, const Limits& limits)
      : server(connection), client(std::unique_ptr<MailConnection>(connection), limits) {}
};

// What was said when it failed: "closed", or the server's words.
inline std::string mailFailure(const std::function<void()>& action) {
  using Kind = MailError::Kind;
  try {
    action();
  } catch (const MailError& error) {
    switch (error.kind()) {
      case Kind::closed: return "closed";
      case Kind::timedOut: return "timedOut";
      case Kind::wrongPassword: return "wrongPassword";
      case Kind::insecureServer: return "insecureServer";
      default: return error.what();
    }
  }
  return "";
}

}  // namespace vesk::test
