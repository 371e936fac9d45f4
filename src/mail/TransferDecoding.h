#pragma once

#include <string>
#include <string_view>

namespace halcyra {

/// The text of a body in a transfer encoding (lower-cased). A base64 body that does not decode
/// stays as it is; an encoding other than base64 and quoted-printable leaves the body alone, unless
/// it looks like quoted-printable.
std::string decodeTransfer(std::string_view body, std::string_view encoding,
                           std::string_view charset);

/// Whether decodeTransfer would do anything to the body.
bool isEncoded(std::string_view body, std::string_view encoding);

}  // namespace halcyra
