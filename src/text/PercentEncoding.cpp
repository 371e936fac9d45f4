#include "text/PercentEncoding.h"

#include <algorithm>

#include "text/Hex.h"
#include "text/Utf8.h"

namespace halcyra {
namespace {

bool isUnreserved(char c) {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '-' ||
         c == '.' || c == '_' || c == '~';
}

bool isPathCharacter(char c) {
  constexpr std::string_view others = "!$&'()*+,;=:@";
  return isUnreserved(c) || others.find(c) != others.npos;
}

std::string encodedUnless(bool (*staysAsItIs)(char), std::string_view text) {
  constexpr const char* digits = "0123456789ABCDEF";
  std::string encoded;
  for (const char c : text) {
    if (staysAsItIs(c)) {
      encoded += c;
      continue;
    }
    const auto byte = static_cast<unsigned char>(c);
    encoded += {'%', digits[byte >> 4], digits[byte & 15]};
  }
  return encoded;
}

}  // namespace

std::string percentEncoded(std::string_view text) {
  return encodedUnless(isUnreserved, text);
}

std::string pathSegmentEncoded(std::string_view text) {
  return encodedUnless(isPathCharacter, text);
}

std::string percentDecoded(std::string_view text) {
  std::string decoded;
  for (std::size_t at = 0; at < text.size(); ++at) {
    const bool encoded = text[at] == '%' && at + 2 < text.size() && hexValue(text[at + 1]) >= 0 &&
                         hexValue(text[at + 2]) >= 0;
    if (!encoded) {
      decoded += text[at];
      continue;
    }
    decoded += static_cast<char>(hexValue(text[at + 1]) * 16 + hexValue(text[at + 2]));
    at += 2;
  }
  return repairedUtf8(std::move(decoded));
}

std::string formEncoded(const std::vector<std::pair<std::string, std::string>>& items) {
  std::string form;
  for (const auto& [name, value] : items) {
    if (!form.empty()) form += '&';
    form += percentEncoded(name) + "=" + percentEncoded(value);
  }
  return form;
}

std::vector<QueryItem> queryItems(std::string_view query) {
  std::vector<QueryItem> items;
  while (!query.empty()) {
    const std::string_view item = query.substr(0, query.find('&'));
    query.remove_prefix(std::min(item.size() + 1, query.size()));
    const std::size_t equals = item.find('=');
    QueryItem& added = items.emplace_back(QueryItem{percentDecoded(item.substr(0, equals)), {}});
    if (equals != item.npos) added.value = percentDecoded(item.substr(equals + 1));
  }
  return items;
}

}  // namespace halcyra
