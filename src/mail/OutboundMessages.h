#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace halcyra {

/// Builders of the texts that a transport sends (RFC 5322). No value can start a header of its own:
/// in header values carriage returns are removed and line feeds are blanks.

/// The trimmed subject with one "Re: " or "Fwd: ". One in any case with white space behind it
/// counts, and so does none of another language.
std::string replySubject(std::string_view subject);
std::string forwardSubject(std::string_view subject);

/// The References of a raw message, trimmed; absent when there are none.
std::optional<std::string> referencesHeader(std::string_view rawMessage);

struct ReplyFields {
  std::string_view from;
  std::string_view to;
  /// Of the message that is answered, as are the next two.
  std::string_view subject;
  std::string_view inReplyTo;
  std::optional<std::string> references;
  std::string_view body;
};

/// A plain text reply with a new Message-ID that threads behind the answered message (RFC 5322,
/// section 3.6.4).
std::string buildReplyMessage(const ReplyFields& reply);

struct ForwardFields {
  std::string_view from;
  std::string_view to;
  std::string_view subject;
  std::string_view rawMessage;
};

/// The raw message below new outer headers. There is no blank line between: its headers continue
/// the outer block.
std::string buildForwardMessage(const ForwardFields& forward);

/// The raw message as the body of a message with line feeds and without a sender.
std::string buildSimpleForwardMessage(std::string_view to, std::string_view subject,
                                      std::string_view rawMessage);

/// MIME headers and the text with CR LF as body.
std::string plainTextMIMEBody(std::string_view text);

/// The raw message without To, Cc and Bcc, so that a forward does not carry its old recipients. A
/// message without a blank line comes back unchanged.
std::string removeRecipientHeaders(std::string_view rawMessage);

}  // namespace halcyra
