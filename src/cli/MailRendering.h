#pragma once

#include <ostream>
#include <string>

#include "mail/ParsedMail.h"

namespace halcyra {

enum class RawSource { hidden, shown };

/// Writes the mail as a person reads it: "Name: value" lines, an empty line, the body; with the
/// source shown a ruled line and the source behind it. Ends with a line feed.
void writeMail(std::ostream& out, const ParsedMail& mail, RawSource raw);

/// The record as one line of JSON, with its field names in its order and without a line feed.
std::string mailJson(const ParsedMail& mail, RawSource raw);

}  // namespace halcyra
