#include "mail/QuotedPrintable.h"

#include "text/ByteDecoding.h"
#include "text/Graphemes.h"
#include "text/Hex.h"

namespace halcyra {
namespace {

bool isHexPair(std::string_view text, std::size_t position) {
  return position + 1 < text.size() && hexValue(text[position]) >= 0 &&
         hexValue(text[position + 1]) >= 0;
}

// Reads what stands at the "=" of `position` and gives the position behind it.
std::size_t readEscape(std::string_view text, std::size_t position, std::string& bytes) {
  const std::string_view rest = text.substr(position);
  if (isWholeCharacter(text, position, position + 1)) {
    if (rest.starts_with("=\r\n")) return position + 3 + graphemePrefix(rest.substr(3), 1).size();
    if (rest.starts_with("=\n")) return position + 2;
    if (isHexPair(text, position + 1) && isWholeCharacter(text, position + 2, position + 3)) {
      bytes.push_back(static_cast<char>(hexValue(rest[1]) * 16 + hexValue(rest[2])));
      return position + 3;
    }
  }
  bytes.push_back('=');
  return position + 1;
}

}  // namespace

std::string quotedPrintableBytes(std::string_view text) {
  std::string bytes;
  bytes.reserve(text.size());
  std::size_t position = 0;
  for (std::size_t equals; (equals = text.find('=', position)) != text.npos;) {
    bytes.append(text, position, equals - position);
    position = readEscape(text, equals, bytes);
  }
  return bytes.append(text, position);
}

// "=3D", or =\r?\n, or four times =[0-9A-Fa-f]{2}
bool hasQuotedPrintableResidue(std::string_view text) {
  int pairs = 0;
  for (std::size_t equals = 0; (equals = text.find('=', equals)) != text.npos; ++equals) {
    const std::string_view rest = text.substr(equals);
    if (rest.starts_with("=3D") || rest.starts_with("=\n") || rest.starts_with("=\r\n")) {
      return true;
    }
    if (isHexPair(text, equals + 1) && ++pairs == 4) return true;
  }
  return false;
}

std::string decodeQuotedPrintable(std::string_view text, std::string_view charset) {
  return decodeBytes(quotedPrintableBytes(text), charset);
}

}  // namespace halcyra
