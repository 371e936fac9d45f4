#pragma once

#include <functional>
#include <stop_token>
#include <string>

#include "config/AppConfig.h"
#include "mail/ParsedMail.h"
#include "platform/ByteStream.h"
#include "platform/Clock.h"
#include "platform/Log.h"
#include "platform/Task.h"

namespace halcyra {

enum class PassResult {
  done,
  notConfigured,  // host, user name or password is empty
  failed,         // the mailbox could not be listed
};

/// What a pass over one mailbox works with. References outlive the pass.
struct IMAPPassContext {
  MailAccount account;
  IMAPConnection connection;
  std::string password;
  bool useIDLE = true;
  double idleFallbackPollSeconds = 120;
  std::stop_token stop;
  StreamConnector& connector;
  Clock& clock;
  Log& log;
  /// Hands a mail to the pipeline; true when it is finished with.
  std::function<Task<bool>(ParsedMail)> process;
};

/// Lists today's unseen mail over a connection of its own, hands each message to the pipeline,
/// marks what is finished with as seen, and waits in IDLE. Failures become log lines. Runs on the
/// I/O executor.
Task<PassResult> runIMAPPass(IMAPPassContext context);

/// A day in the form of IMAP's date (RFC 9051, section 9), for instance "5-Mar-2026".
std::string imapDate(const LocalTime& day);

}  // namespace halcyra
