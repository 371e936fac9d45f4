#pragma once

#include <string>
#include <string_view>

namespace halcyra {

/// Decodes the base64 encoded words of a header value (RFC 2047, section 2); their charset is taken
/// as UTF-8. A word that does not decode leaves its raw text. Words in Q encoding stay, and so does
/// white space between words.
std::string decodeEncodedWords(std::string text);

}  // namespace halcyra
