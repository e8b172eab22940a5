#pragma once

#include <asio/ip/tcp.hpp>
#include <asio/ssl.hpp>
#include <cstdint>
#include <functional>
#include <string>
#include <thread>

#include "tests/mail/support/TestAuthority.h"

namespace vesk::test {

using ServerSocket = asio::ip::tcp::socket;
using ServerTLS = asio::ssl::stream<ServerSocket&>;

// Takes one connection on a free port of the loopback and serves it on a thread of its own.
class LoopbackServer {
 public:
  // The connection ends when `serve` returns; failures of Asio in it only end it.
  explicit LoopbackServer(std::function<void(ServerSocket&)> serve);
  ~LoopbackServer();

  std::uint16_t port() const { return port_; }

 private:
  asio::io_context io_;
  asio::ip::tcp::acceptor acceptor_;
  std::uint16_t port_;
  std::thread thread_;
};

asio::ssl::context serverContext(const Certificate& certificate);

// Reads until the client closes its end.
std::string readToEnd(ServerSocket& socket);

}  // namespace vesk::test
