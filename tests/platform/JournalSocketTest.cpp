#include "platform/linux/JournalSocket.h"

#include "platform/linux/SharedLibrary.h"
#include "sandbox/TemporaryFolder.h"
#include "support/Journal.h"

namespace halcyra {
namespace {

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
