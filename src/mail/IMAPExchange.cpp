#include "mail/IMAPExchange.h"

#include <algorithm>
#include <charconv>

#include "mail/IMAPError.h"
#include "mail/ParsedMail.h"
#include "text/Case.h"
#include "text/WithoutSecrets.h"

namespace halcyra {
namespace {

constexpr std::size_t longestFailureText = 16u << 10;

// "E12 ..."
bool isTagged(std::string_view unit) {
  const std::size_t digits = unit.find_first_not_of("0123456789", 1);
  return unit.starts_with("E") && digits > 1 && digits != unit.npos && unit[digits] == ' ';
}

// Length of "* 7 FETCH" at the start of an untagged line, or 0.
std::size_t fetchHeadLength(std::string_view unit) {
  constexpr std::string_view word = " FETCH";
  const std::size_t number = 2;
  const std::size_t end = unit.find_first_not_of("0123456789", number);
  if (end == unit.npos || end == number) return 0;
  return equalsIgnoringAsciiCase(unit.substr(end, word.size()), word) ? end + word.size() : 0;
}

// A unit as a log may show it: what may be a part of a message is told by its size only, however
// the server sent it.
std::string withoutMailText(std::string_view unit) {
  if (unit.starts_with(literalMarker)) {
    return "(literal of " + std::to_string(unit.size() - literalMarker.size()) + " bytes)";
  }
  if (isTagged(unit)) return std::string(unit);
  if (!unit.starts_with("* ")) return "(line of " + std::to_string(unit.size()) + " bytes)";
  const std::size_t head = fetchHeadLength(unit);
  return head == 0 ? std::string(unit) : std::string(unit.substr(0, head)) + " (text)";
}

void keepEnd(std::string& text) {
  if (text.size() <= longestFailureText) return;
  std::size_t cut = text.size() - longestFailureText;
  while (cut < text.size() && (static_cast<unsigned char>(text[cut]) & 0xC0) == 0x80) ++cut;
  text.replace(0, cut, "...");
}

}  // namespace

std::string imapQuoted(std::string_view text, std::string_view what) {
  std::string quoted = "\"";
  for (const char c : text) {
    if (c == '\r' || c == '\n' || c == '\0') {
      throw IMAPError::protocolError("The " + std::string(what) +
                                     " holds a line break or a NUL and cannot be sent.");
    }
    if (c == '\\' || c == '"') quoted += '\\';
    quoted += c;
  }
  return quoted += '"';
}

std::vector<std::uint32_t> imapSearchResult(std::span<const std::string> units) {
  std::vector<std::uint32_t> uids;
  const auto result = std::find_if(units.begin(), units.end(), [](const std::string& unit) {
    return unit.find("SEARCH") != unit.npos;
  });
  if (result == units.end()) return uids;
  // "*", "SEARCH" and "UID" are no numbers and fall out with all else that is none.
  const char* position = result->data();
  const char* const end = position + result->size();
  while (position < end) {
    const char* const pieceEnd = std::find(position, end, ' ');
    std::uint32_t uid = 0;
    const auto parsed = std::from_chars(position, pieceEnd, uid);
    if (parsed.ec == std::errc() && parsed.ptr == pieceEnd) uids.push_back(uid);
    position = pieceEnd == end ? end : pieceEnd + 1;
  }
  return uids;
}

std::string imapFailureText(std::span<const std::string> units,
                            const std::vector<std::string>& secrets) {
  // Whole units, so that no cut leaves half a secret; those before are not even looked at, for a
  // server may have sent a lot.
  std::string text;
  std::size_t shown = units.size();
  while (shown > 0 && text.size() <= longestFailureText) {
    const std::string end = text.empty() ? "" : "\n" + text;
    text = withoutMailText(units[--shown]) + end;
  }
  text = withoutSecrets(std::move(text), secrets);
  if (shown > 0) text.insert(0, "...\n");
  keepEnd(text);
  return text;
}

}  // namespace halcyra
