#include "platform/LoopbackURL.h"

#include <algorithm>
#include <boost/asio/ip/address.hpp>
#include <charconv>

#include "text/Case.h"

namespace halcyra {
namespace {

bool isLoopbackHost(std::string_view host) {
  if (equalsIgnoringAsciiCase(host, "localhost")) return true;
  const bool inBrackets = host.starts_with('[') && host.ends_with(']');
  if (inBrackets) host = host.substr(1, host.size() - 2);
  boost::system::error_code malformed;
  const auto address = boost::asio::ip::make_address(std::string(host), malformed);
  return !malformed && address.is_loopback() && address.is_v6() == inBrackets;
}

bool isPort(std::string_view text) {
  unsigned port = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), port);
  return error == std::errc() && end == text.data() + text.size() && port > 0 && port <= 65535;
}

bool isPlainPath(std::string_view text) {
  return std::all_of(text.begin(), text.end(), [](char c) {
    return (asciiLower(c) >= 'a' && asciiLower(c) <= 'z') || (c >= '0' && c <= '9') ||
           std::string_view("/-._~").find(c) != std::string_view::npos;
  });
}

}  // namespace

bool isLoopbackURL(std::string_view url) {
  const std::string_view scheme = url.starts_with("https://") ? "https://" : "http://";
  if (!url.starts_with(scheme)) return false;
  url.remove_prefix(scheme.size());
  const std::size_t pathStart = std::min(url.find('/'), url.size());
  std::string_view host = url.substr(0, pathStart);
  const std::size_t colon = host.rfind(':');
  if (colon != host.npos && !host.ends_with(']')) {
    if (!isPort(host.substr(colon + 1))) return false;
    host = host.substr(0, colon);
  }
  return isLoopbackHost(host) && isPlainPath(url.substr(pathStart));
}

}  // namespace halcyra
