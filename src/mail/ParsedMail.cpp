#include "mail/ParsedMail.h"

#include <utility>

#include "mail/BodyExtraction.h"
#include "mail/EncodedWords.h"
#include "mail/Headers.h"
#include "text/Graphemes.h"
#include "text/Trim.h"

namespace halcyra {
namespace {

constexpr std::size_t longestBody = 50'000;
constexpr std::string_view imapSource = "uid";

std::string generatedId(std::string_view source, std::uint32_t uid) {
  return std::string(source) + "-" + std::to_string(uid) + "@" + std::string(generatedIdDomain);
}

std::string cutBody(std::string text) {
  const std::size_t kept = graphemePrefix(text, longestBody).size();
  if (kept < text.size()) {
    text.resize(kept);
    text += "\n…";
  }
  text.shrink_to_fit();
  return text;
}

// `source` begins a generated id.
void readHeaders(ParsedMail& mail, std::string_view headers, std::string_view source) {
  mail.messageID = headerValue("Message-ID", headers).value_or("");
  trim(mail.messageID);
  // All messages with a blank one would pass for one message, and only the first be handled.
  if (mail.messageID.empty()) mail.messageID = generatedId(source, mail.uid);
  mail.subject = decodeEncodedWords(headerValue("Subject", headers).value_or("(no subject)"));
  mail.from = decodeEncodedWords(headerValue("From", headers).value_or(""));
  mail.date = headerValue("Date", headers).value_or("");
}

// Fills what is read from the message.
std::optional<ParsedMail> read(ParsedMail mail, std::string_view source) {
  if (mail.rawRFC822.empty()) return std::nullopt;
  const auto [headers, body] = splitHeaders(mail.rawRFC822);
  readHeaders(mail, headers, source);
  mail.bodyText = cutBody(extractBodyText(headers, body));
  return mail;
}

}  // namespace

std::optional<ParsedMail> ParsedMail::fromIMAPFetch(std::string accountId, std::uint32_t uid,
                                                    std::span<std::string> fetchLines) {
  ParsedMail mail;
  mail.accountId = std::move(accountId);
  mail.uid = uid;
  for (std::string& line : fetchLines) {
    if (!line.starts_with(literalMarker)) continue;
    std::string literal = std::exchange(line, {});
    literal.erase(0, literalMarker.size());
    if (mail.rawRFC822.empty()) {
      mail.rawRFC822 = std::move(literal);
    } else {
      mail.rawRFC822 += literal;
    }
  }
  return read(std::move(mail), imapSource);
}

std::optional<ParsedMail> ParsedMail::fromRawMessage(std::string accountId,
                                                     std::string providerRESTId, std::uint32_t uid,
                                                     std::string rawText) {
  ParsedMail mail;
  mail.accountId = std::move(accountId);
  mail.uid = uid;
  mail.providerRESTId = std::move(providerRESTId);
  mail.rawRFC822 = std::move(rawText);
  trim(mail.rawRFC822);
  return read(std::move(mail), "api");
}

std::optional<ParsedMail> ParsedMail::withoutSource(std::string rawText) {
  if (rawText.empty()) return std::nullopt;
  ParsedMail mail;
  readHeaders(mail, splitHeaders(rawText).headers, imapSource);
  mail.bodyText = cutBody(takeBodyText(std::move(rawText)));
  return mail;
}

std::string ParsedMail::classificationEmailText() const {
  return "Subject: " + subject + "\nFrom: " + from + "\nDate: " + date + "\n\n" + bodyText;
}

}  // namespace halcyra
