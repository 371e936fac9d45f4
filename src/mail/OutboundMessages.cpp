#include "mail/OutboundMessages.h"

#include <algorithm>
#include <cstddef>

#include "mail/Headers.h"
#include "mail/MailAddress.h"
#include "mail/ParsedMail.h"
#include "text/Case.h"
#include "text/Trim.h"
#include "text/Utf8.h"
#include "text/Uuid.h"

namespace halcyra {
namespace {

// `word` ends in a colon.
std::string prefixedSubject(std::string_view subject, std::string_view word,
                            std::string_view prefix) {
  subject = trimmed(subject);
  std::size_t behind = word.size();
  if (subject.size() > behind && equalsIgnoringAsciiCase(subject.substr(0, behind), word) &&
      isWhiteSpace(nextCodePoint(subject, behind))) {
    return std::string(subject);
  }
  return std::string(prefix) + std::string(subject);
}

std::string headerText(std::string_view value) {
  std::string text(value);
  std::erase(text, '\r');
  std::ranges::replace(text, '\n', ' ');
  return text;
}

// Each CR LF, CR and LF as CR LF.
std::string withNetworkLines(std::string_view text) {
  std::string result;
  result.reserve(text.size() + text.size() / 16);
  for (std::size_t at = 0; at < text.size(); ++at) {
    const char c = text[at];
    if (c == '\n' || c == '\r') {
      result += "\r\n";
      if (c == '\r' && text.substr(at + 1).starts_with('\n')) ++at;
    } else {
      result += c;
    }
  }
  return result;
}

bool isRecipientHeader(std::string_view line) {
  const std::size_t colon = line.find(':');
  if (colon == line.npos) return false;
  const std::string name = asciiLowercased(trimmed(line.substr(0, colon)));
  return name == "to" || name == "cc" || name == "bcc";
}

std::string withoutRecipients(std::string_view headers) {
  const std::string_view lineEnd = headers.find("\r\n") != headers.npos ? "\r\n" : "\n";
  std::string kept;
  bool first = true;
  bool dropping = false;
  for (std::size_t at = 0; at <= headers.size();) {
    const std::size_t end = std::min(headers.find(lineEnd, at), headers.size());
    const std::string_view line = headers.substr(at, end - at);
    at = end + lineEnd.size();
    // A folded line shares the fate of its header.
    if (!line.starts_with(' ') && !line.starts_with('\t')) dropping = isRecipientHeader(line);
    if (dropping) continue;
    if (!first) kept += lineEnd;
    kept += line;
    first = false;
  }
  return kept;
}

}  // namespace

std::string replySubject(std::string_view subject) {
  return prefixedSubject(subject, "re:", "Re: ");
}

std::string forwardSubject(std::string_view subject) {
  return prefixedSubject(subject, "fwd:", "Fwd: ");
}

std::optional<std::string> referencesHeader(std::string_view rawMessage) {
  const auto value = headerValue("References", splitHeaders(rawMessage).headers);
  const std::string_view references = value ? trimmed(*value) : std::string_view();
  if (references.empty()) return std::nullopt;
  return std::string(references);
}

std::string buildReplyMessage(const ReplyFields& reply) {
  const std::string inReplyTo = headerText(angleBracketed(reply.inReplyTo));
  std::string references = headerText(trimmed(reply.references.value_or("")));
  references += (references.empty() ? "" : " ") + inReplyTo;
  std::string text;
  text += "From: " + headerText(reply.from) + "\r\n";
  text += "To: " + headerText(reply.to) + "\r\n";
  text += "Subject: " + headerText(replySubject(reply.subject)) + "\r\n";
  text += "Message-ID: <" + newUuid() + "@" + std::string(generatedIdDomain) + ">\r\n";
  text += "In-Reply-To: " + inReplyTo + "\r\n";
  text += "References: " + references + "\r\n";
  text += plainTextMIMEBody(reply.body);
  return text;
}

std::string buildForwardMessage(const ForwardFields& forward) {
  std::string text;
  text.reserve(forward.rawMessage.size() + 1024);
  text += "From: " + headerText(forward.from) + "\r\n";
  text += "To: " + headerText(trimmed(forward.to)) + "\r\n";
  text += "Subject: " + headerText(forwardSubject(forward.subject)) + "\r\n";
  text += "MIME-Version: 1.0\r\nContent-Type: message/rfc822\r\n";
  text += forward.rawMessage;
  if (!forward.rawMessage.ends_with("\r\n")) text += "\r\n";
  return text;
}

std::string buildSimpleForwardMessage(std::string_view to, std::string_view subject,
                                      std::string_view rawMessage) {
  std::string text = "To: " + headerText(trimmed(to)) + "\n";
  text += "Subject: " + headerText(forwardSubject(subject)) + "\n";
  text += "MIME-Version: 1.0\nContent-Type: message/rfc822\n\n";
  text += rawMessage;
  return text;
}

std::string plainTextMIMEBody(std::string_view text) {
  return "MIME-Version: 1.0\r\nContent-Type: text/plain; charset=UTF-8\r\n"
         "Content-Transfer-Encoding: 8bit\r\n\r\n" +
         withNetworkLines(text) + "\r\n";
}

std::string removeRecipientHeaders(std::string_view rawMessage) {
  const HeaderSplit message = splitHeaders(rawMessage);
  if (message.body.size() == rawMessage.size()) return std::string(rawMessage);
  std::string result = withoutRecipients(message.headers);
  if (!result.empty()) {
    result += rawMessage.find("\r\n") != rawMessage.npos ? "\r\n\r\n" : "\n\n";
  }
  result += message.body;
  return result;
}

}  // namespace halcyra
