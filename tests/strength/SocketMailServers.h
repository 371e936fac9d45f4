#pragma once

#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/ssl/context.hpp>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

#include "FaultyRelay.h"
#include "platform/linux/SocketConnector.h"

namespace halcyra {

/// Mail servers in memory behind loopback ports, plain or with TLS, and the program's own
/// connections to them, whose bytes cross a wire.
class SocketMailServers : public StreamConnector {
 public:
  /// Port 143 is `imap`, any other `smtp`. They are used on a thread of its own while `lock` is
  /// held. All that is named outlives the object.
  SocketMailServers(StreamConnector& imap, StreamConnector& smtp, std::mutex& lock, Wire& wire,
                    bool encrypts, Executor client);
  ~SocketMailServers() override;

  Task<std::unique_ptr<ByteStream>> connect(Endpoint endpoint) override;

  /// Ends the connections that are open.
  void dropAll();

  /// For connections to come.
  SocketLimits limits;

 private:
  using Socket = boost::asio::ip::tcp::socket;
  struct Port {
    StreamConnector& server;
    boost::asio::ip::tcp::acceptor acceptor;
    std::unique_ptr<FaultyRelay> relay;
  };

  std::unique_ptr<Port> openPort(StreamConnector& server, Wire& wire);
  Task<void> accept(Port& port);
  Task<void> serve(Socket socket, StreamConnector& server);
  template <class Stream>
  Task<void> talk(Stream& stream, StreamConnector& server);
  Task<std::string> answerTo(std::string bytes, ByteStream& server);

  std::mutex& lock_;
  const bool encrypts_;
  Executor client_;
  boost::asio::io_context context_{1};
  std::unique_ptr<Port> imap_;
  std::unique_ptr<Port> smtp_;
  std::thread thread_;
};

}  // namespace halcyra
