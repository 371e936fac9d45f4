#include "platform/linux/JournalSocket.h"

#include <fcntl.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <array>
#include <cstring>

#include "platform/linux/SharedLibrary.h"
#include "sandbox/TemporaryFolder.h"

namespace halcyra {
namespace {

// The journal's end of the socket.
class Journal {
 public:
  explicit Journal(const std::string& path) : socket_(socket(AF_UNIX, SOCK_DGRAM, 0)) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    path.copy(address.sun_path, sizeof address.sun_path - 1);
    EXPECT_EQ(bind(socket_, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
  }
  ~Journal() { close(socket_); }

  struct Received {
    std::string datagram;
    std::string file;
    int seals = 0;
  };

  // What has come already.
  Received receive() {
    std::string bytes(1u << 20, '\0');
    iovec part{bytes.data(), bytes.size()};
    alignas(cmsghdr) std::array<char, CMSG_SPACE(sizeof(int))> room{};
    msghdr message{};
    message.msg_iov = &part;
    message.msg_iovlen = 1;
    message.msg_control = room.data();
    message.msg_controllen = room.size();
    const ssize_t size = recvmsg(socket_, &message, MSG_DONTWAIT);
    EXPECT_GE(size, 0) << std::strerror(errno);
    Received received{bytes.substr(0, static_cast<std::size_t>(std::max<ssize_t>(size, 0))), "", 0};
    if (const cmsghdr* header = CMSG_FIRSTHDR(&message)) {
      int file = -1;
      std::memcpy(&file, CMSG_DATA(header), sizeof file);
      received.seals = fcntl(file, F_GET_SEALS);
      received.file.resize(8u << 20);
      const ssize_t read = pread(file, received.file.data(), received.file.size(), 0);
      received.file.resize(static_cast<std::size_t>(std::max<ssize_t>(read, 0)));
      close(file);
    }
    return received;
  }

 private:
  int socket_;
};

TEST(JournalSocket, EntriesAreDatagramsAndLargeOnesSealedFiles) {
  const sandbox::TemporaryFolder folder;
  const std::string path = (folder.path() / "journal").string();
  const JournalSocket sender(path);
  EXPECT_FALSE(sender.send(journalField("MESSAGE", "nobody listens")));
  Journal journal(path);

  sender.send(journalField("PRIORITY", "5") + journalField("MESSAGE", "a=b\nc"));
  const std::string length("\x05\0\0\0\0\0\0\0", 8);
  EXPECT_EQ(journal.receive().datagram, "PRIORITY=5\nMESSAGE\n" + length + "a=b\nc\n");

  const std::string large = journalField("MESSAGE", std::string(4u << 20, 'x'));
  sender.send(large);
  const Journal::Received received = journal.receive();
  EXPECT_EQ(received.datagram, "");
  EXPECT_TRUE(received.file == large);
  EXPECT_EQ(received.seals, F_SEAL_SHRINK | F_SEAL_GROW | F_SEAL_WRITE | F_SEAL_SEAL);
}

TEST(JournalSocket, OneThatNobodyReadsDoesNotStopTheProgram) {
  const sandbox::TemporaryFolder folder;
  const std::string path = (folder.path() / "journal").string();
  const JournalSocket sender(path);
  Journal journal(path);
  for (int i = 0; i < 1000; ++i) EXPECT_TRUE(sender.send(journalField("MESSAGE", "m")));
  EXPECT_EQ(journal.receive().datagram, "MESSAGE=m\n");
}

TEST(SharedLibrary, WhatIsMissingNamesItsPackage) {
  const auto words = [](auto use) -> std::string {
    try {
      use();
    } catch (const LibraryError& error) {
      return error.what();
    }
    return "";
  };
  EXPECT_EQ(
      words([] { SharedLibrary("libnowhere.so.7", "libnowhere7"); }),
      "The library libnowhere.so.7 cannot be used (cannot open shared object file: No such file or "
      "directory); install the package libnowhere7.");
  EXPECT_EQ(words([] { SharedLibrary("libc.so.6", "libc6")["no_such_function"]; }),
            "The library libc.so.6 cannot be used (it lacks no_such_function); update the package "
            "libc6.");
}

}  // namespace
}  // namespace halcyra
