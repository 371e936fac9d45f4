#pragma once

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <array>
#include <cstring>
#include <optional>
#include <string>

namespace halcyra {

/// The journal's end of its socket.
class Journal {
 public:
  explicit Journal(const std::string& path) : socket_(socket(AF_UNIX, SOCK_DGRAM, 0)) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    path.copy(address.sun_path, sizeof address.sun_path - 1);
    EXPECT_EQ(bind(socket_, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
  }
  ~Journal() { close(socket_); }
  Journal(const Journal&) = delete;
  Journal& operator=(const Journal&) = delete;

  struct Received {
    std::string datagram;
    std::string file;
    int seals = 0;
  };

  /// What has come already; a failure of the test when nothing has.
  Received receive() {
    std::optional<Received> entry = next();
    EXPECT_TRUE(entry) << std::strerror(errno);
    return entry.value_or(Received());
  }

  /// The same where nothing need have come.
  std::optional<Received> next() {
    std::string bytes(1u << 20, '\0');
    iovec part{bytes.data(), bytes.size()};
    alignas(cmsghdr) std::array<char, CMSG_SPACE(sizeof(int))> room{};
    msghdr message{};
    message.msg_iov = &part;
    message.msg_iovlen = 1;
    message.msg_control = room.data();
    message.msg_controllen = room.size();
    const ssize_t size = recvmsg(socket_, &message, MSG_DONTWAIT);
    if (size < 0) return std::nullopt;
    Received entry{bytes.substr(0, static_cast<std::size_t>(size)), "", 0};
    if (const cmsghdr* header = CMSG_FIRSTHDR(&message)) {
      int file = -1;
      std::memcpy(&file, CMSG_DATA(header), sizeof file);
      entry.seals = fcntl(file, F_GET_SEALS);
      entry.file.resize(8u << 20);
      const ssize_t read = pread(file, entry.file.data(), entry.file.size(), 0);
      entry.file.resize(static_cast<std::size_t>(std::max<ssize_t>(read, 0)));
      close(file);
    }
    return entry;
  }

 private:
  int socket_;
};

}  // namespace halcyra
