#include "signin/RequestLine.h"

#include <algorithm>
#include <vector>

#include "signin/OAuthRedirect.h"
#include "text/Case.h"
#include "text/Trim.h"
#include "text/Utf8.h"

namespace halcyra {
namespace {

constexpr std::string_view successPage =
    "<!DOCTYPE html><html><head><meta charset=\"utf-8\"><title>OK</title></head><body><p>Sign-in "
    "complete. You can close this window.</p></body></html>";

std::string response(int status, std::string_view body) {
  const std::string reason = status == 200 ? "OK" : "Error";
  return "HTTP/1.1 " + std::to_string(status) + " " + reason +
         "\r\nContent-Type: text/html; charset=utf-8\r\nContent-Length: " +
         std::to_string(body.size()) + "\r\nConnection: close\r\n\r\n" + std::string(body);
}

std::vector<std::string_view> wordsOf(std::string_view line) {
  std::vector<std::string_view> words;
  while (!line.empty()) {
    const std::string_view word = line.substr(0, line.find(' '));
    if (!word.empty()) words.push_back(word);
    line.remove_prefix(std::min(word.size() + 1, line.size()));
  }
  return words;
}

// May it stand behind the port of a URL? Browsers leave many characters unencoded that RFC 3986
// does not allow in a query, so only what no URL can hold is refused.
bool continuesURL(std::string_view target) {
  const bool startsPart = target.front() == '/' || target.front() == '?' || target.front() == '#';
  return startsPart && std::none_of(target.begin(), target.end(), [](char c) {
           const auto byte = static_cast<unsigned char>(c);
           return byte <= 0x20 || byte == 0x7F;
         });
}

}  // namespace

RequestLine::State RequestLine::add(std::string_view bytes) {
  const std::size_t end = bytes.find('\n');
  text_.append(bytes.substr(0, end));
  if (end == bytes.npos) return text_.size() > longest ? State::unusable : State::incomplete;
  return isValidUtf8(text_) ? State::complete : State::unusable;
}

RequestReply replyToRequestLine(std::string_view line, bool alreadyRedirected) {
  const std::vector<std::string_view> words = wordsOf(trimmed(line));
  if (words.size() < 2 || !equalsIgnoringAsciiCase(words[0], "GET") || !continuesURL(words[1])) {
    return {response(400, "Bad Request"), std::nullopt};
  }
  if (alreadyRedirected) return {response(200, "OK"), std::nullopt};
  return {response(200, successPage), redirectOrigin + std::string(words[1])};
}

}  // namespace halcyra
