#include "platform/linux/LocalDatagrams.h"

#include <sys/socket.h>
#include <sys/un.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <utility>

namespace halcyra {
namespace {

bool sendAtOnce(int socket, const std::string& path, msghdr message) {
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  if (path.size() >= sizeof address.sun_path) {
    errno = ENAMETOOLONG;
    return false;
  }
  path.copy(address.sun_path, path.size());
  message.msg_name = &address;
  message.msg_namelen = sizeof address;
  return sendmsg(socket, &message, MSG_NOSIGNAL | MSG_DONTWAIT) >= 0;
}

}  // namespace

LocalDatagrams::LocalDatagrams(std::string path)
    : path_(std::move(path)), socket_(socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0)) {}

bool LocalDatagrams::send(std::string_view bytes) const {
  iovec part{const_cast<char*>(bytes.data()), bytes.size()};
  msghdr message{};
  message.msg_iov = &part;
  message.msg_iovlen = 1;
  return sendAtOnce(socket_.get(), path_, message);
}

bool LocalDatagrams::sendDescriptor(int descriptor) const {
  alignas(cmsghdr) std::array<char, CMSG_SPACE(sizeof(int))> room{};
  msghdr message{};
  message.msg_control = room.data();
  message.msg_controllen = room.size();
  cmsghdr* const header = CMSG_FIRSTHDR(&message);
  header->cmsg_level = SOL_SOCKET;
  header->cmsg_type = SCM_RIGHTS;
  header->cmsg_len = CMSG_LEN(sizeof(int));
  std::memcpy(CMSG_DATA(header), &descriptor, sizeof descriptor);
  return sendAtOnce(socket_.get(), path_, message);
}

}  // namespace halcyra
