#pragma once

#include <chrono>
#include <cstddef>
#include <optional>
#include <string_view>

namespace vesk {

// What the mail clients need of a connection to a server: bytes there, bytes back. MailStream is the real one. Calls
// come from one thread at a time and block it. All but close() throw MailError; after one the connection is of no use,
// but for a timedOut of receive(), which has lost nothing.
class MailConnection {
 public:
  static constexpr std::size_t maximumChunk = std::size_t{256} << 10;  // bytes received at a time

  virtual ~MailConnection() = default;

  // Returns when all of it is on its way.
  virtual void send(std::string_view bytes) = 0;

  // What came next, at least one byte, valid until the next call; nullopt when the server has closed its end.
  // timedOut when nothing came in time.
  virtual std::optional<std::string_view> receive(std::chrono::milliseconds timeout) = 0;

  // From here on everything is encrypted, and the server is the one it claims to be.
  virtual void startTLS() = 0;

  // True when nobody can read along: the connection is encrypted, or doesn't leave this machine.
  virtual bool isPrivate() const = 0;

  virtual void close() noexcept = 0;
};

}  // namespace vesk
