#include "triage/MailboxPass.h"

#include <utility>

namespace halcyra {
namespace {

/// What every mail of one pass is handed over with.
struct HandOver {
  Executor main;
  std::shared_ptr<EmailProcessor> processor;
  AppConfig config;
  MailAccount account;
  MailSecrets secrets;

  Task<bool> operator()(ParsedMail mail) const {
    auto incoming = std::make_shared<const IncomingMail>(std::move(mail), config, account);
    return runOn(main, processor->processMail(std::move(incoming), secrets));
  }
};

HandOver handOverOf(const PassOrder& order) {
  return {order.services.main, order.processor, order.config, order.account,
          mailSecretsFor(order.account, order.secrets, order.services.secrets)};
}

IMAPPassContext imapContext(const PassOrder& order, const IMAPConnection& connection) {
  return {.account = order.account,
          .connection = connection,
          .password = order.secrets.imapPassword,
          .useIDLE = order.config.useIDLE && order.idle == IdleUse::asConfigured,
          .idleFallbackPollSeconds = order.config.idleFallbackPollSeconds,
          .stop = order.stop,
          .connector = order.services.connector,
          .clock = order.services.clock,
          .log = order.services.log,
          .process = handOverOf(order)};
}

RestPassContext restContext(const PassOrder& order) {
  const ProviderSync& providers = *order.services.providers;
  return {.account = order.account,
          .config = order.config,
          .stop = order.stop,
          .clients = providers.clients,
          .marking = providers.marking,
          .processed = providers.processed,
          .log = order.services.log,
          .process = handOverOf(order)};
}

Task<void> callSink(MailboxStatusSink sink, std::string accountId, std::string text, bool isError) {
  if (sink) sink(std::move(accountId), std::move(text), isError);
  co_return;
}

GraphPassContext graphContext(const PassOrder& order) {
  return {.rest = restContext(order),
          .clientId = order.services.secrets.resolvedMicrosoftClientId(order.config),
          .clock = order.services.clock,
          .notices = *order.notices,
          .tellStatus = [main = order.services.main, sink = order.status, id = order.account.id](
                            std::string text, bool isError) {
            return runOn(main, callSink(sink, id, std::move(text), isError));
          }};
}

}  // namespace

Task<PassResult> runPass(PassOrder order) {
  if (const auto* imap = std::get_if<IMAPConnection>(&order.account.kind)) {
    Task<PassResult> pass = runIMAPPass(imapContext(order, *imap));
    co_return co_await std::move(pass);
  }
  if (order.services.providers == nullptr) co_return PassResult::notConfigured;
  const bool gmail = std::holds_alternative<GoogleGmail>(order.account.kind);
  Task<PassResult> pass =
      gmail ? runGmailPass(restContext(order)) : runGraphPass(graphContext(order));
  co_return co_await std::move(pass);
}

}  // namespace halcyra
