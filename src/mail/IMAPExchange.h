#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace halcyra {

/// A quoted string (RFC 9051, section 4.3): backslashes and double quotes escaped. Throws
/// IMAPError::protocolError, naming `what`, for CR, LF or NUL, which have no quoted form.
std::string imapQuoted(std::string_view text, std::string_view what);

/// The UIDs of a SEARCH exchange, from its first unit that holds "SEARCH".
std::vector<std::uint32_t> imapSearchResult(std::span<const std::string> units);

/// The units of a refused command joined by line feeds, fit for a log: message text is replaced by
/// its size, each of the `secrets` by "***", and only the end of a very long exchange is kept.
std::string imapFailureText(std::span<const std::string> units,
                            const std::vector<std::string>& secrets);

}  // namespace halcyra
