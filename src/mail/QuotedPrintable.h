#pragma once

#include <string>
#include <string_view>

namespace halcyra {

/// The bytes of a quoted-printable text (RFC 2045, section 6.7), read character by character:
/// behind a soft break of "=" CR LF one more character is dropped. An "=" that starts nothing
/// stays. Works within the given string.
std::string quotedPrintableBytes(std::string text);

/// Whether a text looks like quoted-printable that nobody declared.
bool hasQuotedPrintableResidue(std::string_view text);

/// quotedPrintableBytes, then decodeBytes.
std::string decodeQuotedPrintable(std::string text, std::string_view charset);

}  // namespace halcyra
