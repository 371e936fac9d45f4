#include "signin/DataverseEnvironment.h"

#include <algorithm>

#include "text/Case.h"
#include "text/Trim.h"

namespace halcyra {
namespace {

bool isAlphanumeric(char c) {
  return (asciiLower(c) >= 'a' && asciiLower(c) <= 'z') || (c >= '0' && c <= '9');
}

bool isDigit(char c) {
  return c >= '0' && c <= '9';
}

// RFC 3986, section 3.1.
bool isScheme(std::string_view text) {
  return !text.empty() && isAlphanumeric(text.front()) && !isDigit(text.front()) &&
         std::all_of(text.begin(), text.end(),
                     [](char c) { return isAlphanumeric(c) || c == '+' || c == '-' || c == '.'; });
}

// A registered name or, in brackets, an IPv6 address, of the characters that occur in real ones.
bool isHost(std::string_view text) {
  const bool inBrackets = text.size() > 2 && text.front() == '[' && text.back() == ']';
  if (inBrackets) text = text.substr(1, text.size() - 2);
  return !text.empty() && std::all_of(text.begin(), text.end(), [&](char c) {
    return isAlphanumeric(c) || c == '.' || (inBrackets ? c == ':' : c == '-' || c == '_');
  });
}

// The host of "user@host:port", or nothing (RFC 3986, section 3.2).
std::optional<std::string_view> hostOf(std::string_view authority) {
  authority.remove_prefix(authority.rfind('@') + 1);  // npos + 1 is the start
  const std::size_t colon = authority.rfind(':');
  const std::size_t bracket = authority.rfind(']');
  if (colon != authority.npos && (bracket == authority.npos || bracket < colon)) {
    const std::string_view port = authority.substr(colon + 1);
    if (!std::all_of(port.begin(), port.end(), isDigit)) return std::nullopt;
    authority = authority.substr(0, colon);
  }
  return isHost(authority) ? std::optional(authority) : std::nullopt;
}

}  // namespace

std::optional<std::string> normalizedDataverseEnvironment(std::string_view text) {
  text = trimmed(text);
  if (text.empty()) return std::nullopt;
  std::string url(text);
  if (!asciiLowercased(url).starts_with("http")) url.insert(0, "https://");
  const std::size_t schemeEnd = url.find("://");
  const std::string_view scheme = std::string_view(url).substr(0, schemeEnd);
  if (schemeEnd == url.npos || !isScheme(scheme)) return std::nullopt;
  std::string_view authority = std::string_view(url).substr(schemeEnd + 3);
  authority = authority.substr(0, authority.find_first_of("/?#"));
  const auto host = hostOf(authority);
  if (!host) return std::nullopt;
  const bool isPlain = asciiLowercased(scheme) == "http";
  return (isPlain ? "http://" : "https://") + std::string(*host);
}

}  // namespace halcyra
