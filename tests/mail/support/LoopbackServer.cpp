#include "tests/mail/support/LoopbackServer.h"

#include <asio/buffer.hpp>
#include <asio/read.hpp>
#include <system_error>
#include <utility>

namespace vesk::test {

using asio::ip::tcp;

LoopbackServer::LoopbackServer(std::function<void(ServerSocket&)> serve)
    : acceptor_(io_, tcp::endpoint(asio::ip::address_v4::loopback(), 0)), port_(acceptor_.local_endpoint().port()) {
  thread_ = std::thread([this, serve = std::move(serve)] {
    try {
      tcp::socket socket = acceptor_.accept();
      serve(socket);
    } catch (const std::system_error&) {
      // The client is gone, or wants nothing of this server.
    }
  });
}

LoopbackServer::~LoopbackServer() {
  // Nobody came, perhaps.
  std::error_code ignored;
  tcp::socket(io_).connect({asio::ip::address_v4::loopback(), port_}, ignored);
  thread_.join();
}

asio::ssl::context serverContext(const Certificate& certificate) {
  asio::ssl::context context(asio::ssl::context::tls_server);
  context.use_certificate_chain(asio::buffer(certificate.certificate));
  context.use_private_key(asio::buffer(certificate.key), asio::ssl::context::pem);
  return context;
}

std::string readToEnd(ServerSocket& socket) {
  std::string text;
  std::error_code end;
  asio::read(socket, asio::dynamic_buffer(text), end);
  return text;
}

}  // namespace vesk::test
