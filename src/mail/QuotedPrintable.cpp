#include "mail/QuotedPrintable.h"

#include <cstring>
#include <optional>
#include <utility>

#include "text/ByteDecoding.h"
#include "text/Graphemes.h"
#include "text/Hex.h"

namespace halcyra {
namespace {

bool isHexPair(std::string_view text, std::size_t position) {
  return position + 1 < text.size() && hexValue(text[position]) >= 0 &&
         hexValue(text[position + 1]) >= 0;
}

// What an "=" starts; behind a soft break there is no byte.
struct Escape {
  std::size_t end = 0;
  std::optional<char> byte;
};

std::optional<Escape> escapeAt(std::string_view text, std::size_t equals) {
  if (!isWholeCharacter(text, equals, equals + 1)) return std::nullopt;
  const std::string_view rest = text.substr(equals);
  if (rest.starts_with("=\r\n")) {
    return Escape{equals + 3 + graphemePrefix(rest.substr(3), 1).size(), std::nullopt};
  }
  if (rest.starts_with("=\n")) return Escape{equals + 2, std::nullopt};
  if (isHexPair(text, equals + 1) && isWholeCharacter(text, equals + 2, equals + 3)) {
    return Escape{equals + 3, static_cast<char>(hexValue(rest[1]) * 16 + hexValue(rest[2]))};
  }
  return std::nullopt;
}

}  // namespace

std::string quotedPrintableBytes(std::string text) {
  std::size_t read = 0, written = 0;
  const auto keep = [&](std::size_t end) {
    if (read != written) std::memmove(text.data() + written, text.data() + read, end - read);
    written += end - read;
    read = end;
  };
  // A character before `read` is only looked at as the end of the last escape, which is longer than
  // its byte and therefore still stands.
  for (std::size_t equals = 0; (equals = text.find('=', equals)) != text.npos;) {
    const std::optional<Escape> escape = escapeAt(text, equals);
    if (!escape) {
      ++equals;
      continue;
    }
    keep(equals);
    if (escape->byte) text[written++] = *escape->byte;
    equals = read = escape->end;
  }
  keep(text.size());
  text.resize(written);
  return text;
}

// "=3D", or =\r?\n, or four times =[0-9A-Fa-f]{2}
bool hasQuotedPrintableResidue(std::string_view text) {
  int pairs = 0;
  for (std::size_t equals = 0; (equals = text.find('=', equals)) != text.npos; ++equals) {
    const std::string_view rest = text.substr(equals + 1, 2);
    if (rest == "3D" || rest == "\r\n" || rest.starts_with('\n')) return true;
    if (isHexPair(rest, 0) && ++pairs == 4) return true;
  }
  return false;
}

std::string decodeQuotedPrintable(std::string text, std::string_view charset) {
  return decodeBytes(quotedPrintableBytes(std::move(text)), charset);
}

}  // namespace halcyra
