#include "mail/TransferDecoding.h"

#include <algorithm>
#include <iterator>
#include <optional>

#include "mail/QuotedPrintable.h"
#include "text/Base64.h"
#include "text/ByteDecoding.h"
#include "text/Trim.h"
#include "text/Utf8.h"

namespace halcyra {
namespace {

// Without CR LF pairs, line feeds and spaces. A lone CR stays, and spoils the decoding, as does any
// character beyond ASCII, behind which nothing is read.
std::string base64Digits(std::string_view body) {
  std::string digits;
  digits.reserve(body.size());
  for (std::size_t begin = 0; begin < body.size();) {
    const std::size_t end = std::min(body.find('\n', begin), body.size());
    std::string_view line = body.substr(begin, end - begin);
    if (end < body.size() && line.ends_with('\r')) line.remove_suffix(1);
    begin = end + 1;
    if (!isAscii(line)) return "=";
    if (line.find(' ') == line.npos) {
      digits += line;
    } else {
      std::ranges::copy_if(line, std::back_inserter(digits), [](char c) { return c != ' '; });
    }
  }
  return digits;
}

bool isBase64(std::string_view encoding) {
  return encoding == "base64" || encoding == "b64";
}

bool isQuotedPrintable(std::string_view body, std::string_view encoding) {
  return encoding == "quoted-printable" || encoding == "qp" || hasQuotedPrintableResidue(body);
}

}  // namespace

bool isEncoded(std::string_view body, std::string_view encoding) {
  return isBase64(encoding) || isQuotedPrintable(body, encoding);
}

std::string decodeTransfer(std::string_view body, std::string_view encoding,
                           std::string_view charset) {
  if (isBase64(encoding)) {
    std::optional<std::string> bytes = decodeBase64(base64Digits(trimmed(body)));
    return bytes ? decodeBytes(std::move(*bytes), charset) : std::string(body);
  }
  if (!isQuotedPrintable(body, encoding)) return std::string(body);
  std::string text;
  text.reserve(2 * body.size());  // as ISO-8859-1 can need it; what is not used costs no memory
  return decodeQuotedPrintable(std::move(text.append(body)), charset);
}

}  // namespace halcyra
