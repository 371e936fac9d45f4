#include "triage/ProviderMailbox.h"

#include <utility>
#include <vector>

#include "triage/OutgoingText.h"

namespace halcyra {
namespace {

bool isGmail(const IncomingMail& incoming) {
  return std::holds_alternative<GoogleGmail>(incoming.account.kind);
}

std::string idOf(const IncomingMail& incoming) {
  return incoming.mail.providerRESTId.value_or("");
}

}  // namespace

Task<std::string> ProviderMailbox::tokenFor(const IncomingMail& incoming) {
  AccessTokens& tokens = clients_.tokens;
  Task<std::string> getting =
      isGmail(incoming) ? tokens.validGoogleAccessToken(incoming.account.id)
                        : tokens.validMicrosoftAccessToken(incoming.config, incoming.account.id);
  co_return co_await std::move(getting);
}

Task<void> ProviderMailbox::markProcessed(const IncomingMail& incoming,
                                          std::optional<std::string> tag) {
  std::string token = co_await tokenFor(incoming);
  Task<void> marking =
      isGmail(incoming) ? changeLabels(incoming, std::move(token), std::move(tag), true)
                        : clients_.graph.markRead(std::move(token), idOf(incoming), std::move(tag));
  co_await std::move(marking);
}

Task<void> ProviderMailbox::addTag(const IncomingMail& incoming, std::string tag) {
  std::string token = co_await tokenFor(incoming);
  Task<void> tagging =
      isGmail(incoming)
          ? changeLabels(incoming, std::move(token), std::move(tag), false)
          : clients_.graph.addCategory(std::move(token), idOf(incoming), std::move(tag));
  co_await std::move(tagging);
}

Task<void> ProviderMailbox::changeLabels(const IncomingMail& incoming, std::string token,
                                         std::optional<std::string> tag, bool markRead) {
  std::vector<std::string> added;
  std::vector<std::string> removed;
  if (tag) {
    Task<std::string> finding =
        clients_.gmail.ensureLabelId(token, incoming.account.id, std::move(*tag));
    added.push_back(co_await std::move(finding));
  }
  if (markRead) removed.emplace_back("UNREAD");
  Task<void> changing = clients_.gmail.modifyMessageLabels(std::move(token), idOf(incoming),
                                                           std::move(added), std::move(removed));
  co_await std::move(changing);
}

Task<void> ProviderMailbox::forward(const IncomingMail& incoming, std::string from,
                                    std::string to) {
  std::string token = co_await tokenFor(incoming);
  const ParsedMail& mail = incoming.mail;
  Task<void> sending =
      isGmail(incoming)
          ? clients_.gmail.sendRawMessage(std::move(token), forwardText(mail, from, to))
          : clients_.graph.sendMail(std::move(token), graphForward(mail, to));
  co_await std::move(sending);
}

Task<void> ProviderMailbox::reply(const IncomingMail& incoming, OutgoingReply reply) {
  std::string token = co_await tokenFor(incoming);
  const ParsedMail& mail = incoming.mail;
  Task<void> sending = isGmail(incoming)
                           ? clients_.gmail.sendRawMessage(std::move(token), replyText(mail, reply))
                           : clients_.graph.sendMail(std::move(token), graphReply(mail, reply));
  co_await std::move(sending);
}

}  // namespace halcyra
