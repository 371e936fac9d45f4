#include "mail/ContentType.h"

#include <algorithm>

#include "mail/Headers.h"
#include "text/Case.h"
#include "text/Trim.h"

namespace halcyra {
namespace {

bool isWrappedIn(char quote, std::string_view value) {
  return value.starts_with(quote) && value.ends_with(quote);
}

// One quote character off each end; a lone quote is both its ends.
std::string_view unquoted(std::string_view value) {
  if (!isWrappedIn('"', value) && !isWrappedIn('\'', value)) return value;
  return value.size() < 2 ? std::string_view{} : value.substr(1, value.size() - 2);
}

void readParameter(std::string_view piece, ContentType& type) {
  const std::size_t equals = piece.find('=');
  if (equals == piece.npos) return;
  const std::string key = lowercased(trimmed(piece.substr(0, equals)));
  const std::string_view value = unquoted(trimmed(piece.substr(equals + 1)));
  if (key == "charset") type.charset = trimmedOf(value, "\"'");
  if (key == "boundary") type.boundary = trimmedOf(value, "\"");
}

}  // namespace

ContentType parseContentType(std::string_view value) {
  ContentType type;
  bool seenMainType = false;
  for (std::size_t begin = 0; begin < value.size();) {
    const std::size_t end = std::min(value.find(';', begin), value.size());
    const std::string_view piece = value.substr(begin, end - begin);
    begin = end + 1;
    if (piece.empty()) continue;
    if (seenMainType) {
      readParameter(trimmed(piece), type);
    } else {
      type.mainType = lowercased(trimmed(piece));
      seenMainType = true;
    }
  }
  if (!seenMainType) type.mainType = value;  // nothing but ";"
  return type;
}

ContentType contentType(std::string_view headers, std::string_view missing) {
  const std::optional<std::string> value = headerValue("Content-Type", headers);
  return parseContentType(value ? *value : missing);
}

std::string transferEncoding(std::string_view headers) {
  const std::string value = headerValue("Content-Transfer-Encoding", headers).value_or("");
  const std::string_view trimmedValue = trimmed(value);
  const std::string encoding = lowercased(trimmed(trimmedValue.substr(0, trimmedValue.find(';'))));
  return encoding.empty() ? "7bit" : encoding;
}

}  // namespace halcyra
