#pragma once

#include <string>

#include "platform/linux/LocalDatagrams.h"

namespace halcyra {

/// Lines for the system's log as syslog(3) sends them (RFC 3164, section 4.1), except that a log
/// which takes no more for now loses them: syslog(3) would wait for it without limit. Any thread
/// may send.
class SyslogSocket {
 public:
  explicit SyslogSocket(std::string path = "/dev/log");

  /// A notice of this user's program.
  void send(const std::string& line) const;

 private:
  LocalDatagrams datagrams_;
};

}  // namespace halcyra
