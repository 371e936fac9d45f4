#include "triage/ResolvedSMTP.h"

#include <algorithm>
#include <utility>

#include "text/Trim.h"

namespace halcyra {
namespace {

constexpr std::int64_t submissionPort = 587;
constexpr std::int64_t implicitTLSPort = 465;

std::string trimmedText(const std::string& text) {
  return std::string(trimmed(text));
}

std::string senderCandidate(const MailAccount& account, const AppConfig& config) {
  if (const auto* imap = std::get_if<IMAPConnection>(&account.kind)) {
    return trimmedText(imap->username);
  }
  const bool labelIsAddress = account.displayLabel.find('@') != std::string::npos;
  return trimmedText(labelIsAddress ? account.displayLabel : config.imapUsername);
}

std::string firstFilled(std::initializer_list<std::string> texts) {
  const auto filled = std::ranges::find_if(texts, [](const auto& text) { return !text.empty(); });
  return filled == texts.end() ? std::string() : *filled;
}

}  // namespace

std::optional<std::string> providerSendAddress(const MailAccount& account,
                                               const AppConfig& config) {
  std::string address = senderCandidate(account, config);
  if (address.empty()) return std::nullopt;
  return address;
}

std::optional<ResolvedSMTP> resolveSMTP(const AppConfig& config, const MailAccount& account,
                                        const std::string& smtpPassword) {
  ResolvedSMTP server;
  server.fromAddress = senderCandidate(account, config);
  if (server.fromAddress.empty()) return std::nullopt;
  server.password = smtpPassword;
  const MailAccountOutgoingSMTP& own = account.outgoingSMTP;
  server.host = trimmedText(own.host);
  if (!server.host.empty()) {
    server.port = own.port > 0 ? own.port : submissionPort;
    server.useStartTLS = own.useStartTLS;
    server.authUsername = firstFilled({trimmedText(own.username), server.fromAddress});
    return server;
  }
  server.host = trimmedText(config.smtpHost);
  if (server.host.empty()) return std::nullopt;
  server.port = config.smtpPort;
  server.useStartTLS = config.smtpUseStartTLS;
  server.authUsername = firstFilled(
      {trimmedText(config.smtpUsername), trimmedText(config.imapUsername), server.fromAddress});
  return server;
}

SMTPOrder smtpOrder(const ResolvedSMTP& server, std::string to, std::string message) {
  const bool implicitTLS = server.port == implicitTLSPort;
  return {.host = server.host,
          .port = static_cast<std::uint16_t>(std::clamp<std::int64_t>(server.port, 0, 65535)),
          .implicitTLS = implicitTLS,
          .useStartTLS = server.useStartTLS && !implicitTLS,
          .username = server.authUsername,
          .password = server.password,
          .from = server.fromAddress,
          .to = std::move(to),
          .message = std::move(message)};
}

}  // namespace halcyra
