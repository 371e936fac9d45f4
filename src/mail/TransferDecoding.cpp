#include "mail/TransferDecoding.h"

#include <optional>

#include "mail/QuotedPrintable.h"
#include "text/Base64.h"
#include "text/ByteDecoding.h"
#include "text/Trim.h"

namespace halcyra {
namespace {

// Without CR LF pairs, line feeds and spaces. A lone CR stays, and spoils the decoding, as does any
// character beyond ASCII, behind which nothing is read.
std::string base64Digits(std::string_view body) {
  std::string digits;
  digits.reserve(body.size());
  for (std::size_t position = 0; position < body.size(); ++position) {
    const char c = body[position];
    if (static_cast<unsigned char>(c) >= 0x80) return "=";
    const bool pairStart = c == '\r' && body.substr(position).starts_with("\r\n");
    if (!pairStart && c != '\n' && c != ' ') digits.push_back(c);
  }
  return digits;
}

}  // namespace

std::string decodeTransfer(std::string_view body, std::string_view encoding,
                           std::string_view charset) {
  if (encoding == "base64" || encoding == "b64") {
    std::optional<std::string> bytes = decodeBase64(base64Digits(trimmed(body)));
    return bytes ? decodeBytes(std::move(*bytes), charset) : std::string(body);
  }
  const bool declared = encoding == "quoted-printable" || encoding == "qp";
  if (!declared && !hasQuotedPrintableResidue(body)) return std::string(body);
  std::string text;
  text.reserve(2 * body.size());  // as ISO-8859-1 can need it; what is not used costs no memory
  return decodeQuotedPrintable(std::move(text.append(body)), charset);
}

}  // namespace halcyra
