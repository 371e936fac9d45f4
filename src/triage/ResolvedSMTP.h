#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "config/AppConfig.h"
#include "mail/SMTPClient.h"

namespace halcyra {

/// The outgoing settings of one send.
struct ResolvedSMTP {
  std::string host;
  std::int64_t port = 0;
  std::string authUsername;
  std::string password;
  bool useStartTLS = false;
  std::string fromAddress;

  bool operator==(const ResolvedSMTP&) const = default;
};

/// The address that mail of this mailbox comes from, if the settings tell one. For Gmail and Graph
/// the label when it is an address.
std::optional<std::string> providerSendAddress(const MailAccount& account, const AppConfig& config);

/// The mailbox's own server, else the default one; absent when there is neither, or no sender.
std::optional<ResolvedSMTP> resolveSMTP(const AppConfig& config, const MailAccount& account,
                                        const std::string& smtpPassword);

/// A message for the resolved server: implicit TLS exactly on port 465, and no STARTTLS there.
SMTPOrder smtpOrder(const ResolvedSMTP& server, std::string to, std::string message);

}  // namespace halcyra
