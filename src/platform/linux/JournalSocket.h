#pragma once

#include <string>
#include <string_view>

#include "platform/linux/LocalDatagrams.h"

namespace halcyra {

/// Entries for the systemd journal, in its native protocol: one datagram an entry, or a sealed file
/// for one that no datagram holds (https://systemd.io/JOURNAL_NATIVE_PROTOCOL). Any thread may
/// send.
class JournalSocket {
 public:
  explicit JournalSocket(std::string path = "/run/systemd/journal/socket");

  /// `entry` is made of journalField(). A journal that takes no more for now loses it, since a log
  /// must not stop the program. False when no journal listens.
  bool send(std::string_view entry) const;

 private:
  LocalDatagrams datagrams_;
};

/// One field of an entry; the value may have several lines.
std::string journalField(std::string_view name, std::string_view value);

}  // namespace halcyra
