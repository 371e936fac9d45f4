#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <list>
#include <string>
#include <string_view>
#include <thread>

namespace halcyra {

/// The server's end of one connection.
class RawConnection {
 public:
  explicit RawConnection(int fd) : fd_(fd) {}

  /// False once the peer is gone.
  bool send(std::string_view bytes);

  /// The next line without its line end; empty when the peer is gone or says nothing for 20
  /// seconds.
  std::string line();

 private:
  int fd_;
  std::string buffer_;
};

/// A TCP server on 127.0.0.1 that says whatever a test wants, to each connection anew. A connection
/// is closed when its script returns.
class RawServer {
 public:
  using Script = std::function<void(RawConnection&)>;

  explicit RawServer(Script script);
  ~RawServer();
  RawServer(const RawServer&) = delete;
  RawServer& operator=(const RawServer&) = delete;

  std::uint16_t port() const { return port_; }
  int connections() const { return connections_; }

 private:
  struct Served {
    int fd;
    std::thread thread;
  };

  void accept();

  Script script_;
  int listener_;
  std::uint16_t port_ = 0;
  std::atomic<int> connections_ = 0;
  std::list<Served> served_;
  std::thread acceptor_;
};

}  // namespace halcyra
