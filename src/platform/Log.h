#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace halcyra {

/// A further fact about a log line for stores that keep fields (upper-case name, for instance
/// MAILBOX). Never mail text, never a secret.
struct LogField {
  std::string name;
  std::string value;

  bool operator==(const LogField&) const = default;
};

using LogFields = std::vector<LogField>;

/// The engine's log.
class Log {
 public:
  virtual ~Log() = default;

  /// Writes "[Halcyra] " and the text, cut after 8 KB, as one entry to every destination. Control
  /// characters other than line feeds and tabs are dropped: much of what is logged are words of
  /// strangers.
  void logLine(std::string_view text, const LogFields& fields = {});

 protected:
  /// Any thread may call. Never throws.
  virtual void write(const std::string& line, const LogFields& fields) = 0;
};

}  // namespace halcyra
