#include "RawServer.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <system_error>

namespace halcyra {

bool RawConnection::send(std::string_view bytes) {
  while (!bytes.empty()) {
    const ssize_t count = ::send(fd_, bytes.data(), bytes.size(), MSG_NOSIGNAL);
    if (count <= 0) return false;
    bytes.remove_prefix(static_cast<std::size_t>(count));
  }
  return true;
}

std::string RawConnection::line() {
  std::size_t end = 0;
  while ((end = buffer_.find('\n')) == std::string::npos) {
    std::array<char, 4096> room;
    const ssize_t count = recv(fd_, room.data(), room.size(), 0);
    if (count <= 0) return "";
    buffer_.append(room.data(), static_cast<std::size_t>(count));
  }
  std::string line = buffer_.substr(0, end);
  buffer_.erase(0, end + 1);
  if (line.ends_with('\r')) line.pop_back();
  return line;
}

RawServer::RawServer(Script script)
    : script_(std::move(script)), listener_(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  socklen_t size = sizeof address;
  auto* plain = reinterpret_cast<sockaddr*>(&address);
  if (bind(listener_, plain, size) != 0 || listen(listener_, 16) != 0 ||
      getsockname(listener_, plain, &size) != 0) {
    throw std::system_error(errno, std::generic_category(), "listening");
  }
  port_ = ntohs(address.sin_port);
  acceptor_ = std::thread([this] { accept(); });
}

RawServer::~RawServer() {
  shutdown(listener_, SHUT_RDWR);
  acceptor_.join();
  close(listener_);
  for (Served& served : served_) {
    shutdown(served.fd, SHUT_RDWR);
    served.thread.join();
    close(served.fd);
  }
}

void RawServer::accept() {
  for (int fd = 0; (fd = accept4(listener_, nullptr, nullptr, SOCK_CLOEXEC)) >= 0;) {
    ++connections_;
    const timeval patience{20, 0};
    setsockopt(fd, SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof patience);
    setsockopt(fd, SOL_SOCKET, SO_SNDTIMEO, &patience, sizeof patience);
    served_.push_back({fd, std::thread([this, fd] {
                         RawConnection connection(fd);
                         script_(connection);
                         shutdown(fd, SHUT_RDWR);
                       })});
  }
}

}  // namespace halcyra
