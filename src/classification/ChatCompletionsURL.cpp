#include <algorithm>
#include <charconv>

#include "classification/LLMClient.h"
#include "text/Case.h"
#include "text/Trim.h"

namespace halcyra {
namespace {

bool isPort(std::string_view text) {
  std::uint16_t port = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), port);
  return error == std::errc() && end == text.data() + text.size();
}

// "host", "host:port" or the same with an address in brackets (RFC 3986, section 3.2).
bool isHostAndPort(std::string_view text) {
  std::size_t hostEnd = text.starts_with('[') ? text.find(']') : text.find(':');
  if (text.starts_with('[')) {
    if (hostEnd == std::string_view::npos || hostEnd < 3) return false;
    ++hostEnd;
  }
  hostEnd = std::min(hostEnd, text.size());
  if (hostEnd == 0) return false;
  const std::string_view rest = text.substr(hostEnd);
  return rest.empty() || rest == ":" || (rest.starts_with(':') && isPort(rest.substr(1)));
}

bool isWebURL(std::string_view url) {
  const auto unusable = [](char c) { return static_cast<unsigned char>(c) <= ' ' || c == 0x7F; };
  if (std::any_of(url.begin(), url.end(), unusable)) return false;
  const std::size_t schemeEnd = url.find("://");
  if (schemeEnd == std::string_view::npos) return false;
  const std::string_view scheme = url.substr(0, schemeEnd);
  if (!equalsIgnoringAsciiCase(scheme, "https") && !equalsIgnoringAsciiCase(scheme, "http")) {
    return false;
  }
  std::string_view authority = url.substr(schemeEnd + 3);
  authority = authority.substr(0, authority.find_first_of("/?#"));
  return isHostAndPort(authority.substr(authority.rfind('@') + 1));  // npos + 1 is the start
}

}  // namespace

std::string chatCompletionsURL(std::string_view baseURL) {
  std::string url(trimmed(baseURL));
  if (url.ends_with('/')) url.pop_back();
  url.append(url.ends_with("/v1") ? "/chat/completions" : "/v1/chat/completions");
  if (!isWebURL(url)) throw LLMError::invalidURL();
  return url;
}

}  // namespace halcyra
