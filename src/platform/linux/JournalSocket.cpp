#include "platform/linux/JournalSocket.h"

#include <fcntl.h>
#include <sys/mman.h>

#include <cerrno>
#include <cstdint>
#include <utility>

#include "platform/linux/Descriptor.h"
#include "platform/linux/WriteAll.h"

namespace halcyra {
namespace {

// The journal takes a file only when nobody can change it any more.
bool writeSealed(int file, std::string_view entry) {
  constexpr int whole = F_SEAL_SHRINK | F_SEAL_GROW | F_SEAL_WRITE | F_SEAL_SEAL;
  return writeAll(file, entry) && fcntl(file, F_ADD_SEALS, whole) >= 0;
}

}  // namespace

JournalSocket::JournalSocket(std::string path) : datagrams_(std::move(path)) {}

bool JournalSocket::send(std::string_view entry) const {
  if (datagrams_.send(entry)) return true;
  if (errno == EMSGSIZE || errno == ENOBUFS) {
    const Descriptor file(memfd_create("journal-entry", MFD_ALLOW_SEALING | MFD_CLOEXEC));
    if (file.isOpen() && writeSealed(file.get(), entry)) datagrams_.sendDescriptor(file.get());
    return true;
  }
  return errno == EAGAIN;
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
