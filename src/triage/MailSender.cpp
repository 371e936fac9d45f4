#include "triage/MailSender.h"

#include <exception>
#include <utility>

#include "mail/MailAddress.h"
#include "mail/OutboundMessages.h"
#include "platform/HttpClient.h"
#include "text/ControlCharacters.h"
#include "text/Trim.h"
#include "triage/CountedWhileAlive.h"
#include "triage/OutgoingText.h"
#include "triage/ResolvedSMTP.h"

namespace halcyra {
namespace {

// Why the task failed, on one line, or nothing.
Task<std::optional<std::string>> failureOf(Task<void> task) {
  try {
    co_await std::move(task);
  } catch (const std::exception& error) {
    co_return onOneLine(error.what());
  }
  co_return std::nullopt;
}

/// How a send through a provider ended.
struct ProviderOutcome {
  enum class Kind { sent, failed, unknown } kind = Kind::sent;
  /// Why it was not sent, or why nobody knows; on one line.
  std::string failure = {};
};

Task<ProviderOutcome> outcomeOf(Task<void> sending) {
  using enum ProviderOutcome::Kind;
  try {
    co_await std::move(sending);
  } catch (const HttpError& error) {
    const bool isLost = error.kind() == HttpError::Kind::unanswered;
    co_return ProviderOutcome{isLost ? unknown : failed, onOneLine(error.what())};
  } catch (const std::exception& error) {
    co_return ProviderOutcome{failed, onOneLine(error.what())};
  }
  co_return ProviderOutcome{};
}

ReplySent notSent(std::string message) {
  return {{.succeeded = false, .message = std::move(message)}, ""};
}

ReplySent sentThrough(std::string route) {
  return {{.succeeded = true, .message = std::nullopt}, std::move(route)};
}

std::string providerName(const MailAccount& account) {
  return std::holds_alternative<GoogleGmail>(account.kind) ? "Gmail" : "Microsoft Graph";
}

// As SMTPClient goes about it.
std::string smtpRoute(const SMTPOrder& order) {
  const bool encrypted = order.implicitTLS || order.useStartTLS;
  return "the SMTP server " + order.host + ":" +
         (order.implicitTLS || !encrypted ? std::to_string(order.port) : "465") +
         (encrypted ? " with TLS" : ", not encrypted") + ", as user " + order.username;
}

Task<void> transmit(StreamConnector* connector, Log* log, SMTPOrder order) {
  SMTPClient client(*connector, *log);
  Task<void> sending = client.send(std::move(order));
  co_await std::move(sending);
}

}  // namespace

Task<bool> MailSender::forwardMail(SharedIncomingMail incoming, std::string forwardTo,
                                   std::string smtpPassword) {
  const std::string to(trimmed(forwardTo));
  if (to.empty()) co_return true;
  const CountedWhileAlive sending(underWay_);
  const auto from = providerSendAddress(incoming->account, incoming->config);
  if (from && usesProvider(*incoming)) {
    Task<ProviderOutcome> trying = outcomeOf(services_.providers->forward(*incoming, *from, to));
    const ProviderOutcome outcome = co_await std::move(trying);
    if (outcome.kind == ProviderOutcome::Kind::sent) co_return true;
    if (outcome.kind == ProviderOutcome::Kind::unknown) {
      services_.log.logLine("Provider forward unanswered, not trying SMTP: " + outcome.failure);
      co_return false;
    }
    services_.log.logLine("Provider forward failed, trying SMTP: " + outcome.failure);
  }
  const auto server = resolveSMTP(incoming->config, incoming->account, smtpPassword);
  if (!server) {
    services_.log.logLine("SMTP not configured; cannot forward.");
    co_return false;
  }
  Task<std::optional<std::string>> trying =
      sendBySMTP(smtpOrder(*server, to, forwardText(incoming->mail, server->fromAddress, to)));
  const std::optional<std::string> failure = co_await std::move(trying);
  if (failure) services_.log.logLine("Forward failed: " + *failure);
  co_return !failure;
}

Task<ReplySent> MailSender::sendReply(SharedIncomingMail incoming, std::string text,
                                      std::string smtpPassword) {
  const ParsedMail& mail = incoming->mail;
  OutgoingReply reply{.body = std::string(trimmed(text))};
  if (reply.body.empty()) co_return notSent("Reply is empty.");
  const auto to = extractMailAddress(mail.from);
  if (!to) co_return notSent("Could not read a reply address from the From header.");
  reply.to = *to;
  if (!mail.rawRFC822.empty()) reply.references = referencesHeader(mail.rawRFC822);

  const CountedWhileAlive sending(underWay_);
  const auto from = providerSendAddress(incoming->account, incoming->config);
  if (from && usesProvider(*incoming)) {
    reply.from = *from;
    Task<ProviderOutcome> trying = outcomeOf(services_.providers->reply(*incoming, reply));
    const ProviderOutcome outcome = co_await std::move(trying);
    if (outcome.kind == ProviderOutcome::Kind::sent) {
      co_return sentThrough(providerName(incoming->account));
    }
    if (outcome.kind == ProviderOutcome::Kind::unknown) {
      services_.log.logLine("Provider reply send unanswered, not trying SMTP: " + outcome.failure);
      co_return notSent(outcome.failure +
                        " The reply may have gone out nevertheless. Look at the mailbox’s sent "
                        "mail before you send it again.");
    }
    services_.log.logLine("Provider reply send failed, trying SMTP: " + outcome.failure);
  }
  const auto server = resolveSMTP(incoming->config, incoming->account, smtpPassword);
  if (!server) {
    co_return notSent(
        "Configure SMTP for this mailbox (Mail tab: per-account outgoing or default server), or "
        "set this account’s label to your email for Gmail / Outlook send.");
  }
  reply.from = server->fromAddress;
  const SMTPOrder order = smtpOrder(*server, reply.to, replyText(mail, reply));
  Task<std::optional<std::string>> trying = sendBySMTP(order);
  const std::optional<std::string> failure = co_await std::move(trying);
  if (!failure) co_return sentThrough(smtpRoute(order));
  const std::string told = "Reply send failed: " + *failure;
  services_.log.logLine(told);
  co_return notSent(told);
}

// Why it was not accepted, or nothing.
Task<std::optional<std::string>> MailSender::sendBySMTP(SMTPOrder order) {
  Task<void> sending = transmit(&services_.connector, &services_.log, std::move(order));
  // Caught where it is thrown: only values cross between the executors.
  Task<std::optional<std::string>> trying = failureOf(std::move(sending));
  Task<std::optional<std::string>> elsewhere = runOn(services_.io, std::move(trying));
  co_return co_await std::move(elsewhere);
}

bool MailSender::usesProvider(const IncomingMail& incoming) const {
  return services_.providers != nullptr &&
         !std::holds_alternative<IMAPConnection>(incoming.account.kind) &&
         trimmed(incoming.account.outgoingSMTP.host).empty();
}

}  // namespace halcyra
