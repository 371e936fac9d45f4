#pragma once

#include <array>
#include <cstddef>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "mail/SMTPError.h"

namespace halcyra {

/// Cuts the bytes of an SMTP server into reply lines (RFC 5321, section 4.2). Pure: the owner
/// fetches bytes into `room()` until `nextLine()` has one. The cost is linear in the bytes, however
/// they are split.
class SMTPReplyReader {
 public:
  /// Bytes of a line, far beyond the 512 of RFC 5321, section 4.5.3.1.5.
  static constexpr std::size_t longestLine = 64u << 10;

  /// The next line without its CR LF and repaired to valid UTF-8, or nothing when it is not all
  /// here. Throws SMTPError::protocolError for a line beyond the bound; the reader is of no use
  /// then.
  std::optional<std::string> nextLine();

  std::span<char> room() { return room_; }

  /// The first `count` bytes of `room()` have been filled.
  void arrived(std::size_t count);

 private:
  std::array<char, 4096> room_;
  // Unread from begin_ on; no line ends before scanned_.
  std::string pending_;
  std::size_t begin_ = 0;
  std::size_t scanned_ = 0;
};

/// Is this a line with more lines of the same reply behind it: three digits and a hyphen?
bool continuesReply(std::string_view line);

bool beginsWithOneOf(std::string_view line, std::span<const std::string_view> codes);

/// The failure for a line that begins with none of the codes.
SMTPError wrongReply(std::string_view line, std::span<const std::string_view> codes);

}  // namespace halcyra
