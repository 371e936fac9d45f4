#include "mail/SMTPReply.h"

#include <algorithm>

#include "text/Utf8.h"

namespace halcyra {
namespace {

void requireBounded(std::size_t size) {
  if (size <= SMTPReplyReader::longestLine) return;
  throw SMTPError::protocolError("The server's reply line is longer than " +
                                 std::to_string(SMTPReplyReader::longestLine >> 10) + " KB.");
}

}  // namespace

std::optional<std::string> SMTPReplyReader::nextLine() {
  const std::size_t end = pending_.find("\r\n", scanned_);
  if (end == std::string::npos) {
    // The last byte may be the CR of the line's end.
    scanned_ = std::max(begin_, pending_.size() - (pending_.ends_with('\r') ? 1 : 0));
    requireBounded(scanned_ - begin_);
    return std::nullopt;
  }
  requireBounded(end - begin_);
  std::string line = pending_.substr(begin_, end - begin_);
  begin_ = scanned_ = end + 2;
  return repairedUtf8(std::move(line));
}

void SMTPReplyReader::arrived(std::size_t count) {
  pending_.erase(0, begin_);
  scanned_ -= begin_;
  begin_ = 0;
  pending_.append(room_.data(), count);
}

bool continuesReply(std::string_view line) {
  const auto isDigit = [](char c) { return c >= '0' && c <= '9'; };
  return line.size() > 3 && line[3] == '-' && std::ranges::all_of(line.substr(0, 3), isDigit);
}

bool beginsWithOneOf(std::string_view line, std::span<const std::string_view> codes) {
  return std::ranges::any_of(codes,
                             [line](std::string_view code) { return line.starts_with(code); });
}

SMTPError wrongReply(std::string_view line, std::span<const std::string_view> codes) {
  const std::string text =
      codes.size() == 1 ? "Expected " + std::string(codes.front()) + ", got: " : "Unexpected: ";
  return SMTPError::protocolError(text + std::string(line));
}

}  // namespace halcyra
