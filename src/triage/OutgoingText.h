#pragma once

#include <optional>
#include <string>

#include "mail/GraphMailRecords.h"
#include "mail/ParsedMail.h"

namespace halcyra {

/// A reply as its builders need it.
struct OutgoingReply {
  std::string from;
  std::string to;
  std::optional<std::string> references;
  std::string body;
};

/// The whole text of a forward, for SMTP and Gmail alike.
std::string forwardText(const ParsedMail& mail, const std::string& from, const std::string& to);

std::string replyText(const ParsedMail& mail, const OutgoingReply& reply);

/// The same for Graph, which builds the message itself. A forward has the text alone.
OutboundMessage graphForward(const ParsedMail& mail, const std::string& to);
OutboundMessage graphReply(const ParsedMail& mail, const OutgoingReply& reply);

}  // namespace halcyra
