#pragma once

#include <string>
#include <string_view>

namespace halcyra {

/// Entries for the systemd journal, in its native protocol: one datagram an entry, or a sealed file
/// for one that no datagram holds (https://systemd.io/JOURNAL_NATIVE_PROTOCOL). Any thread may
/// send.
class JournalSocket {
 public:
  explicit JournalSocket(std::string path = "/run/systemd/journal/socket");
  ~JournalSocket();
  JournalSocket(const JournalSocket&) = delete;
  JournalSocket& operator=(const JournalSocket&) = delete;

  /// `entry` is made of journalField(). Where no journal listens, nothing happens.
  void send(std::string_view entry) const;

 private:
  const std::string path_;
  const int socket_;
};

/// One field of an entry; the value may have several lines.
std::string journalField(std::string_view name, std::string_view value);

}  // namespace halcyra
