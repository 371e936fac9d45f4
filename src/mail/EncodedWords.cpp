#include "mail/EncodedWords.h"

#include <algorithm>
#include <optional>

#include "text/Base64.h"
#include "text/Scan.h"
#include "text/Utf8.h"

namespace halcyra {
namespace {

struct EncodedWord {
  std::size_t end = 0;
  std::string_view payload;
};

// =\?([^?]+)\?([Bb])\?([^?]+)\?=
std::optional<EncodedWord> encodedWordAt(std::string_view text, std::size_t begin) {
  const std::size_t charset = begin + 2;
  const std::size_t charsetEnd = text.find('?', charset);
  if (charsetEnd == text.npos || charsetEnd == charset) return std::nullopt;
  const std::string_view encoding = text.substr(charsetEnd + 1, 2);
  if (encoding != "B?" && encoding != "b?") return std::nullopt;
  const std::size_t payload = charsetEnd + 3;
  const std::size_t payloadEnd = text.find('?', payload);
  if (payloadEnd == text.npos || payloadEnd == payload) return std::nullopt;
  if (!text.substr(payloadEnd).starts_with("?=")) return std::nullopt;
  return EncodedWord{payloadEnd + 2, text.substr(payload, payloadEnd - payload)};
}

std::string decodedPayload(std::string_view payload) {
  std::string digits(payload);
  std::erase(digits, '\n');
  std::optional<std::string> bytes = decodeBase64(digits);
  if (!bytes || !isValidUtf8(*bytes)) return std::string(payload);
  return std::move(*bytes);
}

}  // namespace

std::string decodeEncodedWords(std::string text) {
  std::string_view payload;
  const auto next = [&payload](std::string_view view, std::size_t from) -> std::optional<Match> {
    for (std::size_t begin = from; (begin = view.find("=?", begin)) != view.npos; ++begin) {
      const std::optional<EncodedWord> word = encodedWordAt(view, begin);
      if (!word) continue;
      payload = word->payload;
      return Match{begin, word->end};
    }
    return std::nullopt;
  };
  rewriteMatches(text, next, [&payload](std::string_view) { return decodedPayload(payload); });
  return text;
}

}  // namespace halcyra
