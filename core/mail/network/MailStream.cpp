#include "core/mail/network/MailStream.h"

#include <algorithm>
#include <asio/buffer.hpp>
#include <asio/connect.hpp>
#include <asio/io_context.hpp>
#include <asio/ip/tcp.hpp>
#include <asio/post.hpp>
#include <asio/ssl.hpp>
#include <condition_variable>
#include <cstddef>
#include <mutex>
#include <system_error>
#include <thread>
#include <utility>
#include <vector>

#include <fmt/format.h>

#include "core/base/Error.h"
#include "core/mail/MailError.h"

namespace vesk {

namespace {

using asio::ip::tcp;
using Clock = std::chrono::steady_clock;

constexpr std::size_t maximumPiece = std::size_t{64} << 10;  // bytes sent at a time, each within the timeout

// The addresses of a server. The system's look-up takes as long as it likes and can't be stopped, so a thread of its
// own is left alone with it when the time is up.
class Lookup {
 public:
  static std::vector<tcp::endpoint> run(const MailServer& server, const MailStreamOptions& options,
                                        Clock::time_point deadline) {
    const auto lookup = std::make_shared<Lookup>();
    std::thread([lookup, host = server.host, port = server.port] { lookup->resolve(host, port); }).detach();
    std::unique_lock lock(lookup->mutex_);
    lookup->finished_.wait_until(lock, options.cancelled, deadline, [&] { return lookup->isFinished_; });
    return std::move(lookup->endpoints_);
  }

 private:
  void resolve(const std::string& host, std::uint16_t port) {
    asio::io_context context;
    std::error_code error;
    const auto found =
        tcp::resolver(context).resolve(host, fmt::format("{}", port), tcp::resolver::numeric_service, error);
    const std::lock_guard lock(mutex_);
    for (const auto& entry : found) endpoints_.push_back(entry.endpoint());
    isFinished_ = true;
    finished_.notify_all();
  }

  std::mutex mutex_;  // guards what follows
  std::condition_variable_any finished_;
  bool isFinished_ = false;
  std::vector<tcp::endpoint> endpoints_;
};

asio::ssl::context trustingContext(const std::string& extraAuthorities) {
  asio::ssl::context context(asio::ssl::context::tls_client);
  SSL_CTX_set_min_proto_version(context.native_handle(), TLS1_2_VERSION);
  context.set_verify_mode(asio::ssl::verify_peer);
  context.set_default_verify_paths();
  std::error_code error;
  if (!extraAuthorities.empty()) context.load_verify_file(extraAuthorities, error);
  if (error) throw Error(fmt::format("The certificates in {} can't be read.", extraAuthorities));
  return context;
}

// Makes the handshake fail unless the certificate is one of this host.
bool expectHost(SSL* ssl, const std::string& host) {
  std::error_code noAddress;
  asio::ip::make_address(host, noAddress);
  if (!noAddress) return X509_VERIFY_PARAM_set1_ip_asc(SSL_get0_param(ssl), host.c_str()) == 1;
  SSL_set_hostflags(ssl, X509_CHECK_FLAG_NO_PARTIAL_WILDCARDS);
  // An empty name would turn the check off.
  return !host.empty() && SSL_set1_host(ssl, host.c_str()) == 1 && SSL_set_tlsext_host_name(ssl, host.c_str()) == 1;
}

bool isLoopback(const asio::ip::address& address) {
  if (address.is_v6() && address.to_v6().is_v4_mapped())
    return asio::ip::make_address_v4(asio::ip::v4_mapped, address.to_v6()).is_loopback();
  return address.is_loopback();
}

}  // namespace

// The socket, with TLS over it or not. Asio's asynchronous calls, run to their end one by one, are what gives each a
// deadline.
class MailStream::Socket {
 public:
  Socket(MailServer server, MailStreamOptions options)
      : server_(std::move(server)), options_(std::move(options)), received_(maximumChunk) {}
  ~Socket() { close(); }
  Socket(const Socket&) = delete;
  Socket& operator=(const Socket&) = delete;

  void connect(Clock::time_point deadline) {
    const auto endpoints = Lookup::run(server_, options_, deadline);
    throwWhenCancelled();
    for (std::size_t i = 0; i < endpoints.size(); ++i) {
      // One that doesn't answer leaves time for the others.
      const auto share = (deadline - Clock::now()) / static_cast<long>(endpoints.size() - i);
      if (connect(endpoints[i], Clock::now() + share)) return;
    }
    throw MailError::cantConnect();
  }

  void shakeHands(Clock::time_point deadline) {
    context_.emplace(trustingContext(options_.extraAuthorities));
    tls_.emplace(socket_, *context_);
    if (!expectHost(tls_->native_handle(), server_.host)) throw MailError::cantConnect();
    const Result result =
        run(deadline, [&](auto done) { tls_->async_handshake(asio::ssl::stream_base::client, std::move(done)); });
    if (!result.error) {
      isEncrypted_ = true;
      return;
    }
    if (SSL_get_verify_result(tls_->native_handle()) != X509_V_OK) throw MailError::insecureServer();
    throw MailError::cantConnect();
  }

  void startTLS() { shakeHands(Clock::now() + options_.connectTimeout); }

  void send(std::string_view bytes) {
    while (!bytes.empty()) {
      const auto piece = asio::buffer(bytes.data(), std::min(bytes.size(), maximumPiece));
      const Result result = run(Clock::now() + options_.sendTimeout, [&](auto done) {
        isEncrypted_ ? tls_->async_write_some(piece, std::move(done))
                     : socket_.async_write_some(piece, std::move(done));
      });
      if (result.error) throw MailError::closed();
      bytes.remove_prefix(result.count);
    }
  }

  std::optional<std::string_view> receive(std::chrono::milliseconds timeout) {
    const auto buffer = asio::buffer(received_);
    const Result result = run(Clock::now() + timeout, [&](auto done) {
      isEncrypted_ ? tls_->async_read_some(buffer, std::move(done)) : socket_.async_read_some(buffer, std::move(done));
    });
    if (result.count > 0) return std::string_view(received_.data(), result.count);
    return std::nullopt;
  }

  bool isPrivate() const {
    if (isEncrypted_) return true;
    std::error_code error;
    const auto endpoint = socket_.remote_endpoint(error);
    return !error && isLoopback(endpoint.address());
  }

  void close() noexcept {
    std::error_code ignored;
    socket_.close(ignored);
  }

 private:
  struct Result {
    std::error_code error = {};
    std::size_t count = 0;  // bytes
  };

  bool connect(const tcp::endpoint& endpoint, Clock::time_point deadline) {
    std::error_code error;
    socket_.close(error);
    try {
      error = run(deadline, [&](auto done) { socket_.async_connect(endpoint, std::move(done)); }).error;
    } catch (const MailError& failure) {
      if (failure.kind() != MailError::Kind::timedOut) throw;
      return false;
    }
    if (error) return false;
    socket_.set_option(tcp::no_delay(true), error);
    socket_.set_option(asio::socket_base::keep_alive(true), error);
    return true;
  }

  // Starts a call and waits for its end. timedOut at the deadline, closed when it was cancelled.
  template <typename Start>
  Result run(Clock::time_point deadline, Start start) {
    throwWhenCancelled();
    std::optional<Result> result;
    start([&result](std::error_code error, std::size_t count = 0) { result = {error, count}; });
    io_.restart();
    while (!result && !options_.cancelled.stop_requested() && Clock::now() < deadline) io_.run_one_until(deadline);
    if (result) return *result;
    while (!result) {
      std::error_code ignored;
      socket_.cancel(ignored);  // each step of a handshake starts the next one
      io_.run_one();
    }
    if (!result->error) return *result;  // in the last moment
    throwWhenCancelled();
    throw MailError::timedOut();
  }

  void throwWhenCancelled() const {
    if (options_.cancelled.stop_requested()) throw MailError::closed();
  }

  const MailServer server_;
  const MailStreamOptions options_;
  asio::io_context io_;
  tcp::socket socket_{io_};
  std::optional<asio::ssl::context> context_;
  std::optional<asio::ssl::stream<tcp::socket&>> tls_;
  bool isEncrypted_ = false;
  std::vector<char> received_;

  // Wakes run().
  struct Waker {
    asio::io_context& io;
    void operator()() const {
      asio::post(io, [] {});
    }
  };
  std::stop_callback<Waker> onCancelled_{options_.cancelled, Waker{io_}};
};

MailStream::MailStream(std::unique_ptr<Socket> socket) : socket_(std::move(socket)) {}

MailStream::~MailStream() = default;

std::unique_ptr<MailStream> MailStream::open(const MailServer& server, const MailStreamOptions& options) {
  const Clock::time_point deadline = Clock::now() + options.connectTimeout;
  auto socket = std::make_unique<Socket>(server, options);
  socket->connect(deadline);
  if (server.security == MailSecurity::tls) socket->shakeHands(deadline);
  return std::unique_ptr<MailStream>(new MailStream(std::move(socket)));
}

void MailStream::send(std::string_view bytes) { socket_->send(bytes); }

std::optional<std::string_view> MailStream::receive(std::chrono::milliseconds timeout) {
  return socket_->receive(timeout);
}

void MailStream::startTLS() { socket_->startTLS(); }

bool MailStream::isPrivate() const { return socket_->isPrivate(); }

void MailStream::close() noexcept { socket_->close(); }

}  // namespace vesk
