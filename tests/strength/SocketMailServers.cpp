#include "SocketMailServers.h"

#include <array>
#include <boost/asio/co_spawn.hpp>
#include <boost/asio/detached.hpp>
#include <boost/asio/ssl/impl/src.hpp>  // the library is built without its TLS
#include <boost/asio/ssl/stream.hpp>
#include <boost/asio/use_awaitable.hpp>
#include <boost/asio/write.hpp>

#include "sandbox/Certificate.h"
#include "sandbox/TemporaryFolder.h"

namespace halcyra {
namespace {

using boost::asio::use_awaitable;
namespace ssl = boost::asio::ssl;

// Made once; the program trusts its authority from then on.
ssl::context& serverIdentity() {
  static const sandbox::TemporaryFolder folder;
  static ssl::context context = [] {
    const sandbox::Certificate made = sandbox::makeCertificate(folder.path(), "localhost");
    setenv("SSL_CERT_FILE", made.authority.c_str(), 1);
    ssl::context identity(ssl::context::tls_server);
    identity.use_certificate_file(made.certificate, ssl::context::pem);
    identity.use_private_key_file(made.key, ssl::context::pem);
    // Else what the sessions keep would grow.
    SSL_CTX_set_session_cache_mode(identity.native_handle(), SSL_SESS_CACHE_OFF);
    return identity;
  }();
  return context;
}

// A client's own limits are no longer than those of the connection.
class HastyStream : public ByteStream {
 public:
  HastyStream(std::unique_ptr<ByteStream> inner, std::chrono::milliseconds patience)
      : inner_(std::move(inner)), patience_(patience) {}

  Task<Received> receive(std::span<char> room, ReceiveWait wait) override {
    if (wait.longest) wait.longest = std::min(*wait.longest, patience_);
    return inner_->receive(room, std::move(wait));
  }
  Task<void> send(std::string bytes) override { return inner_->send(std::move(bytes)); }
  void close() noexcept override { inner_->close(); }

 private:
  std::unique_ptr<ByteStream> inner_;
  std::chrono::milliseconds patience_;
};

}  // namespace

SocketMailServers::SocketMailServers(StreamConnector& imap, StreamConnector& smtp, std::mutex& lock,
                                     Wire& wire, bool encrypts, Executor client)
    : lock_(lock),
      encrypts_(encrypts),
      client_(std::move(client)),
      imap_(openPort(imap, wire)),
      smtp_(openPort(smtp, wire)) {
  if (encrypts) serverIdentity();
  thread_ = std::thread([this] { context_.run(); });
}

SocketMailServers::~SocketMailServers() {
  context_.stop();
  thread_.join();
}

std::unique_ptr<SocketMailServers::Port> SocketMailServers::openPort(StreamConnector& server,
                                                                     Wire& wire) {
  const boost::asio::ip::tcp::endpoint any(boost::asio::ip::address_v4::loopback(), 0);
  auto port = std::make_unique<Port>(Port{server, {context_, any}, {}});
  const std::uint16_t number = port->acceptor.local_endpoint().port();
  port->relay = std::make_unique<FaultyRelay>(number, wire, [] {});
  boost::asio::co_spawn(context_, accept(*port), boost::asio::detached);
  return port;
}

Task<void> SocketMailServers::accept(Port& port) {
  while (true) {
    Socket socket = co_await port.acceptor.async_accept(use_awaitable);
    // A connection may break, and then is over.
    boost::asio::co_spawn(context_, serve(std::move(socket), port.server),
                          [](std::exception_ptr) {});
  }
}

Task<void> SocketMailServers::serve(Socket socket, StreamConnector& server) {
  socket.set_option(boost::asio::ip::tcp::no_delay(true));
  if (!encrypts_) {
    co_await talk(socket, server);
    co_return;
  }
  ssl::stream<Socket&> stream(socket, serverIdentity());
  co_await stream.async_handshake(ssl::stream_base::server, use_awaitable);
  co_await talk(stream, server);
}

template <class Stream>
Task<void> SocketMailServers::talk(Stream& stream, StreamConnector& server) {
  Task<std::unique_ptr<ByteStream>> connecting = server.connect({});
  const std::unique_ptr<ByteStream> inner = co_await std::move(connecting);
  std::array<char, 4096> room;
  std::size_t count = 0;
  while (true) {
    Task<std::string> answering = answerTo(std::string(room.data(), count), *inner);
    const std::string answer = co_await std::move(answering);
    co_await boost::asio::async_write(stream, boost::asio::buffer(answer), use_awaitable);
    count = co_await stream.async_read_some(boost::asio::buffer(room), use_awaitable);
  }
}

// The servers in memory never wait, so the lock is held and given back on one thread.
Task<std::string> SocketMailServers::answerTo(std::string bytes, ByteStream& server) {
  const std::lock_guard held(lock_);
  Task<void> sending = server.send(std::move(bytes));
  co_await std::move(sending);
  std::string answer;
  std::array<char, 4096> room;
  while (true) {
    Task<Received> receiving = server.receive(room, {std::chrono::milliseconds(0), {}});
    const Received received = co_await std::move(receiving);
    if (received.count == 0) co_return answer;
    answer.append(room.data(), received.count);
  }
}

Task<std::unique_ptr<ByteStream>> SocketMailServers::connect(Endpoint endpoint) {
  const Port& port = endpoint.port == 143 ? *imap_ : *smtp_;
  SocketConnector connector(client_, limits);
  Task<std::unique_ptr<ByteStream>> connecting =
      connector.connect({"localhost", port.relay->port(), encrypts_});
  std::unique_ptr<ByteStream> stream = co_await std::move(connecting);
  co_return std::make_unique<HastyStream>(std::move(stream), limits.silence);
}

void SocketMailServers::dropAll() {
  imap_->relay->dropAll();
  smtp_->relay->dropAll();
}

}  // namespace halcyra
