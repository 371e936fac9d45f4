#pragma once

#include <atomic>
#include <cstddef>
#include <memory>
#include <optional>
#include <string>

#include "mail/SMTPClient.h"
#include "platform/ByteStream.h"
#include "platform/Log.h"
#include "platform/Task.h"
#include "triage/IncomingMail.h"
#include "triage/ProviderMail.h"
#include "triage/SuggestionPresenter.h"

namespace halcyra {

/// How a reply left, in words for the user; set when it did.
struct ReplySent : SendResult {
  std::string route;
};

/// What a sender works with. All of it outlives the sender.
struct MailSenderServices {
  StreamConnector& connector;
  /// The connector's executor.
  Executor io;
  Log& log;
  /// None while all mailboxes are IMAP.
  ProviderMail* providers = nullptr;
};

/// Sends mail: through the provider's own service first, where the mailbox has one and no SMTP
/// server of its own, and by SMTP otherwise. When nobody knows whether the provider sent it, SMTP
/// does not send it a second time. Belongs to the main executor and outlives its sends.
/// Nothing is thrown.
class MailSender {
 public:
  explicit MailSender(MailSenderServices services) : services_(services) {}

  /// Forwards the message as it came. False after logging why. Without an address there is nothing
  /// to do.
  Task<bool> forwardMail(SharedIncomingMail incoming, std::string forwardTo,
                         std::string smtpPassword);

  /// Answers the sender of the mail.
  Task<ReplySent> sendReply(SharedIncomingMail incoming, std::string text,
                            std::string smtpPassword);

  /// Is a message on its way? If the program ended now, nobody would know whether it arrived.
  bool isSending() const { return underWay_ > 0; }

 private:
  Task<std::optional<std::string>> sendBySMTP(SMTPOrder order);
  bool usesProvider(const IncomingMail& incoming) const;

  MailSenderServices services_;
  std::atomic<std::size_t> underWay_ = 0;
};

}  // namespace halcyra
