#pragma once

#include <chrono>
#include <memory>
#include <optional>
#include <stop_token>
#include <string>
#include <string_view>

#include "core/mail/MailConnection.h"
#include "core/mail/MailServer.h"

namespace vesk {

struct MailStreamOptions {
  // Ends the call that is under way, and all later ones, with MailError::closed. May be stopped from any thread.
  std::stop_token cancelled = {};
  // A file of certificates (PEM) that are trusted beside those of the system.
  std::string extraAuthorities = {};
  std::chrono::milliseconds connectTimeout = std::chrono::seconds(30);  // to the end of the TLS handshake
  std::chrono::milliseconds sendTimeout = std::chrono::seconds(60);     // without a byte that goes out
};

// A TCP connection to a mail server, encrypted by TLS 1.2 or later when the server's security says so. The server's
// certificate has to be issued for its name by an authority that the system trusts ($SSL_CERT_FILE and $SSL_CERT_DIR
// are asked first); nothing turns that off.
class MailStream final : public MailConnection {
 public:
  // Connects. cantConnect when that fails or takes too long, timedOut when the TLS handshake does; insecureServer when
  // the certificate isn't trusted.
  static std::unique_ptr<MailStream> open(const MailServer& server, const MailStreamOptions& options = {});

  ~MailStream() override;

  void send(std::string_view bytes) override;
  std::optional<std::string_view> receive(std::chrono::milliseconds timeout) override;
  void startTLS() override;
  bool isPrivate() const override;
  void close() noexcept override;

 private:
  class Socket;
  explicit MailStream(std::unique_ptr<Socket> socket);

  std::unique_ptr<Socket> socket_;
};

}  // namespace vesk
