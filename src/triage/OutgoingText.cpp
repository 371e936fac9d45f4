#include "triage/OutgoingText.h"

#include <algorithm>
#include <utility>

#include "mail/MailAddress.h"
#include "mail/OutboundMessages.h"

namespace halcyra {
namespace {

std::string withoutLineBreaks(std::string text) {
  std::ranges::replace_if(
      text, [](char c) { return c == '\r' || c == '\n'; }, ' ');
  return text;
}

OutboundMessage graphMessage(std::string subject, std::string body, const std::string& to) {
  return {.subject = withoutLineBreaks(std::move(subject)),
          .body = {.content = std::move(body)},
          .toRecipients = {{.emailAddress = {.address = to}}},
          .internetMessageHeaders = std::nullopt};
}

}  // namespace

std::string forwardText(const ParsedMail& mail, const std::string& from, const std::string& to) {
  const std::string raw = mail.rawRFC822.empty() ? plainTextMIMEBody(mail.bodyText)
                                                 : removeRecipientHeaders(mail.rawRFC822);
  return buildForwardMessage({.from = from, .to = to, .subject = mail.subject, .rawMessage = raw});
}

std::string replyText(const ParsedMail& mail, const OutgoingReply& reply) {
  return buildReplyMessage({.from = reply.from,
                            .to = reply.to,
                            .subject = mail.subject,
                            .inReplyTo = mail.messageID,
                            .references = reply.references,
                            .body = reply.body});
}

OutboundMessage graphForward(const ParsedMail& mail, const std::string& to) {
  std::string body = "---------- Forwarded message ----------\nFrom: " + mail.from +
                     "\nSubject: " + mail.subject + "\nDate: " + mail.date + "\n\n" + mail.bodyText;
  return graphMessage(forwardSubject(mail.subject), std::move(body), to);
}

OutboundMessage graphReply(const ParsedMail& mail, const OutgoingReply& reply) {
  OutboundMessage message = graphMessage(replySubject(mail.subject), reply.body, reply.to);
  const std::string id = angleBracketed(mail.messageID);
  const std::string references = reply.references ? *reply.references + " " + id : id;
  message.internetMessageHeaders = {{"In-Reply-To", id}, {"References", references}};
  return message;
}

}  // namespace halcyra
