#pragma once

#include <mutex>
#include <string>

#include "platform/Log.h"
#include "platform/linux/JournalSocket.h"
#include "platform/linux/SyslogSocket.h"

namespace halcyra {

/// The engine's log on a Linux desktop: one stream of the process, syslog and the systemd journal
/// (SUBSYSTEM com.halcyra.app, CATEGORY Mail, further fields with the prefix HALCYRA_). A line is
/// written once where two of these are the same place: the stream is left out when it is connected
/// to the journal, and syslog when the journal answers its socket.
class JournalLog : public Log {
 public:
  /// `descriptor` is the stream to write lines to, 1 or 2.
  explicit JournalLog(int descriptor);

  /// Keeps lines from the stream, for instance while an editor has the terminal; they come with the
  /// release. Any thread may call.
  void holdStream();
  void releaseStream();

 protected:
  void write(const std::string& line, const LogFields& fields) override;

 private:
  void writeToStream(const std::string& line);

  const int descriptor_;
  const bool streamIsJournal_;
  const bool syslogIsJournal_;
  const JournalSocket journal_;
  const SyslogSocket syslog_;
  std::mutex lock_;
  bool held_ = false;
  std::string heldLines_;
};

}  // namespace halcyra
