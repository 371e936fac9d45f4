#include "mail/TransferDecoding.h"

#include <optional>

#include "mail/QuotedPrintable.h"
#include "text/Base64.h"
#include "text/ByteDecoding.h"
#include "text/Trim.h"

namespace halcyra {
namespace {

// Without CR LF pairs, line feeds and spaces. A lone CR stays, and spoils the decoding.
std::string base64Digits(std::string_view body) {
  std::string digits;
  digits.reserve(body.size());
  for (std::size_t position = 0; position < body.size(); ++position) {
    const char c = body[position];
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
  if (declared || hasQuotedPrintableResidue(body)) return decodeQuotedPrintable(body, charset);
  return std::string(body);
}

}  // namespace halcyra
