#include "platform/linux/JournalSocket.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdint>
#include <cstring>

#include "platform/linux/Descriptor.h"
#include "platform/linux/WriteAll.h"

namespace halcyra {
namespace {

// A message to the journal at `address`, with nothing in it yet.
msghdr messageTo(sockaddr_un& address) {
  msghdr message{};
  message.msg_name = &address;
  message.msg_namelen = sizeof address;
  return message;
}

bool sendDatagram(int socket, sockaddr_un address, std::string_view entry) {
  iovec part{const_cast<char*>(entry.data()), entry.size()};
  msghdr message = messageTo(address);
  message.msg_iov = &part;
  message.msg_iovlen = 1;
  return sendmsg(socket, &message, MSG_NOSIGNAL) >= 0;
}

// The journal takes a file only when nobody can change it any more.
void sendFile(int socket, sockaddr_un address, std::string_view entry) {
  const Descriptor file(memfd_create("journal-entry", MFD_ALLOW_SEALING | MFD_CLOEXEC));
  constexpr int whole = F_SEAL_SHRINK | F_SEAL_GROW | F_SEAL_WRITE | F_SEAL_SEAL;
  if (!file.isOpen() || !writeAll(file.get(), entry) || fcntl(file.get(), F_ADD_SEALS, whole) < 0) {
    return;
  }
  alignas(cmsghdr) std::array<char, CMSG_SPACE(sizeof(int))> room{};
  msghdr message = messageTo(address);
  message.msg_control = room.data();
  message.msg_controllen = room.size();
  cmsghdr* const header = CMSG_FIRSTHDR(&message);
  header->cmsg_level = SOL_SOCKET;
  header->cmsg_type = SCM_RIGHTS;
  header->cmsg_len = CMSG_LEN(sizeof(int));
  const int number = file.get();
  std::memcpy(CMSG_DATA(header), &number, sizeof number);
  sendmsg(socket, &message, MSG_NOSIGNAL);
}

}  // namespace

JournalSocket::JournalSocket(std::string path)
    : path_(std::move(path)), socket_(socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0)) {}

JournalSocket::~JournalSocket() {
  if (socket_ >= 0) close(socket_);
}

void JournalSocket::send(std::string_view entry) const {
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  if (path_.size() >= sizeof address.sun_path) return;
  path_.copy(address.sun_path, path_.size());
  if (sendDatagram(socket_, address, entry)) return;
  if (errno == EMSGSIZE || errno == ENOBUFS) sendFile(socket_, address, entry);
}

std::string journalField(std::string_view name, std::string_view value) {
  std::string field(name);
  if (value.find('\n') == value.npos) {
    return field.append("=").append(value).append("\n");
  }
  // The length in 64 bits, least significant byte first.
  field += '\n';
  for (std::uint64_t rest = value.size(), byte = 0; byte < 8; ++byte, rest >>= 8) {
    field += static_cast<char>(rest & 0xFF);
  }
  return field.append(value).append("\n");
}

}  // namespace halcyra
