#pragma once

#include <optional>
#include <string>

#include "mail/GmailAPIClient.h"
#include "mail/GraphMailClient.h"
#include "signin/AccessTokens.h"
#include "triage/ProviderMail.h"

namespace halcyra {

/// The services of Google and Microsoft. All of it outlives its users.
struct ProviderClients {
  AccessTokens& tokens;
  GmailAPIClient& gmail;
  GraphMailClient& graph;
};

/// Marks, tags and sends through the provider of the mailbox that the mail came from, which is not
/// an IMAP one.
class ProviderMailbox : public ProviderMail {
 public:
  explicit ProviderMailbox(ProviderClients clients) : clients_(clients) {}

  Task<void> markProcessed(const IncomingMail& incoming, std::optional<std::string> tag) override;
  Task<void> addTag(const IncomingMail& incoming, std::string tag) override;
  Task<void> forward(const IncomingMail& incoming, std::string from, std::string to) override;
  Task<void> reply(const IncomingMail& incoming, OutgoingReply reply) override;

 private:
  Task<std::string> tokenFor(const IncomingMail& incoming);
  Task<void> changeLabels(const IncomingMail& incoming, std::string token,
                          std::optional<std::string> tag, bool markRead);

  ProviderClients clients_;
};

}  // namespace halcyra
