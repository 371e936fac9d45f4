#include "platform/linux/JournalLog.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <string>

#include "platform/linux/WriteAll.h"

namespace halcyra {
namespace {

// What comes beyond it while the stream is held still reaches the journal.
constexpr std::size_t mostHeldBytes = 1u << 20;

// systemd sets JOURNAL_STREAM to "device:inode" of a stream that it connected to the journal
// (systemd.exec(5)).
bool isConnectedToJournal(int descriptor) {
  const char* stream = std::getenv("JOURNAL_STREAM");
  struct stat status;
  if (stream == nullptr || fstat(descriptor, &status) != 0) return false;
  return std::to_string(status.st_dev) + ":" + std::to_string(status.st_ino) == stream;
}

bool journalServesSyslog() {
  std::error_code failed;
  const auto socket = std::filesystem::canonical("/dev/log", failed);
  return !failed && socket.string().starts_with("/run/systemd/journal/");
}

std::string journalEntry(const std::string& line, const LogFields& fields) {
  std::string entry = journalField("MESSAGE", line) + journalField("PRIORITY", "5") +
                      journalField("SYSLOG_IDENTIFIER", "halcyra") +
                      journalField("SUBSYSTEM", "com.halcyra.app") +
                      journalField("CATEGORY", "Mail");
  for (const LogField& field : fields) entry += journalField("HALCYRA_" + field.name, field.value);
  return entry;
}

}  // namespace

JournalLog::JournalLog(int descriptor)
    : descriptor_(descriptor),
      streamIsJournal_(isConnectedToJournal(descriptor)),
      syslogIsJournal_(journalServesSyslog()) {}

void JournalLog::holdStream() {
  const std::lock_guard guard(lock_);
  held_ = true;
}

void JournalLog::releaseStream() {
  const std::lock_guard guard(lock_);
  held_ = false;
  writeAll(descriptor_, heldLines_);
  heldLines_.clear();
}

void JournalLog::writeToStream(const std::string& line) {
  const std::lock_guard guard(lock_);
  if (!held_) {
    // A log must not stop the engine: what a full or closed stream does not take is dropped.
    writeAll(descriptor_, line);
  } else if (heldLines_.size() + line.size() <= mostHeldBytes) {
    heldLines_ += line;
  }
}

void JournalLog::write(const std::string& line, const LogFields& fields) {
  const bool journalListens = journal_.send(journalEntry(line, fields));
  if (!streamIsJournal_ || !journalListens) writeToStream(line + "\n");
  if (!syslogIsJournal_) syslog_.send(line);
}

}  // namespace halcyra
