#pragma once

#include <string>
#include <string_view>

#include "config/AppConfig.h"
#include "platform/ByteStream.h"
#include "platform/Task.h"

namespace halcyra {

/// A mailbox that cannot be used as it is configured. `what()` tells how far the test came.
class MailboxTestError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// Connects, signs in and opens the folder, as each pass of the monitor does, and changes nothing.
/// Gives the sentence that says so. Throws MailboxTestError. `connector` must outlive the task.
Task<std::string> testMailbox(StreamConnector& connector, IMAPConnection connection,
                              std::string imapPassword);

}  // namespace halcyra
