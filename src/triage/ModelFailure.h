#pragma once

#include <string>
#include <string_view>

#include "mail/ParsedMail.h"

namespace halcyra {

/// The text of a failed model call on one line, fit for the log: one that quotes the mail, as
/// servers do with what they refuse, is replaced by words that say where to see it.
std::string shownModelFailure(std::string_view failure, const ParsedMail& mail);

}  // namespace halcyra
