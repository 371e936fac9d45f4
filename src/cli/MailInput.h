#pragma once

#include <cstddef>
#include <functional>
#include <string>
#include <vector>

#include "cli/Command.h"
#include "mail/ParsedMail.h"

namespace halcyra {

/// The longest message that is read from a file or from standard input, as the IMAP client has it.
inline constexpr std::size_t longestMessageBytes = std::size_t{64} << 20;

/// Whether rawRFC822 of what is read will be looked at.
enum class MailSource { needed, unneeded };

/// Reads one message from a file or, for "-", from standard input, its bytes made text as the IMAP
/// client does it. Throws std::runtime_error that names the source when it cannot be read, is
/// longer than longestMessageBytes or holds no message.
ParsedMail readMail(const std::string& source, std::istream& in,
                    MailSource raw = MailSource::needed);

/// Calls `use` for the mail of each source in turn; no source means standard input. A source that
/// fails is complained about and the others still count. Gives the exit code.
int forEachMail(Session& session, std::vector<std::string> sources, MailSource raw,
                const std::function<void(const std::string& source, const ParsedMail& mail)>& use);

}  // namespace halcyra
