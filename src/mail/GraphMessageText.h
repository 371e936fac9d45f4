#pragma once

#include <string>
#include <string_view>

#include "mail/GraphReplies.h"

namespace halcyra {

/// A plain message (RFC 5322) with line feeds, made of what Graph tells about one whose original
/// text it does not give. `graphId` stands in for a missing message id.
std::string synthesizedMessage(const GraphMessage& message, std::string_view graphId);

/// The comment of a reply: the text as HTML with its line breaks kept.
std::string replyComment(std::string_view text);

}  // namespace halcyra
