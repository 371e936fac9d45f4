#include "classification/MarketingPrefilter.h"

#include <algorithm>
#include <array>
#include <string>

#include "classification/MarketingWords.h"
#include "mail/Headers.h"
#include "text/Case.h"
#include "text/Graphemes.h"
#include "text/Trim.h"
#include "text/Utf8.h"

namespace halcyra {
namespace {

constexpr std::size_t searchedSourceCharacters = 500'000;
constexpr std::size_t searchedTemplateCharacters = 8'000;

bool contains(std::string_view text, std::string_view phrase) {
  return text.find(phrase) != std::string_view::npos;
}

template <class Phrases>
bool containsAny(std::string_view text, const Phrases& phrases) {
  return std::any_of(std::begin(phrases), std::end(phrases),
                     [&](std::string_view phrase) { return contains(text, phrase); });
}

// True for the first piece between separators that `accepts`; separators are ",", ";" and white
// space.
template <class Predicate>
bool anyToken(std::string_view text, Predicate accepts) {
  std::size_t begin = 0;
  for (std::size_t position = 0; position < text.size();) {
    const std::size_t end = position;
    const char32_t c = nextCodePoint(text, position);
    if (c != ',' && c != ';' && !isWhiteSpace(c)) continue;
    if (accepts(text.substr(begin, end - begin))) return true;
    begin = position;
  }
  return accepts(text.substr(begin));
}

bool namesBulkPrecedence(std::string_view value) {
  constexpr std::array<std::string_view, 6> bulkWords = {"bulk",       "list",       "junk",
                                                         "non-urgent", "non_urgent", "nonurgent"};
  const std::string text = lowercased(value);
  return anyToken(text, [&](std::string_view token) {
    return std::find(bulkWords.begin(), bulkWords.end(), token) != bulkWords.end();
  });
}

bool isMarketingSubject(std::string_view subject) {
  const std::string text = lowercased(subject);
  if (contains(text, "newsletter")) return true;
  if (contains(text, "digest") && (contains(text, "weekly") || contains(text, "daily")))
    return true;
  return hasMarketingWord(text);
}

std::string headerText(std::string_view name, std::string_view headers) {
  return headerValue(name, headers).value_or("");
}

bool isPresent(std::string_view name, std::string_view headers) {
  return !trimmed(headerText(name, headers)).empty();
}

bool isAutoReply(std::string_view headers) {
  const std::string value = headerText("Auto-Submitted", headers);
  const std::string_view keyword = trimmed(value);
  return lowercased(trimmed(keyword.substr(0, keyword.find(';')))) == "auto-replied";
}

bool suppressesAutoReplies(std::string_view headers) {
  const std::string value = lowercased(trimmed(headerText("X-Auto-Response-Suppress", headers)));
  return value == "all" || contains(value, "oof");
}

constexpr std::string_view templatePhrases[] = {
    "view this email in your browser",
    "view email in your browser",
    "view the email in your browser",
    "having trouble viewing this email",
    "having trouble viewing the email",
    "read this email online",
    "read this e-mail online",
    "if you cannot read this email",
    "si vous ne parvenez pas à lire cet e-mail",
    "si vous ne parvenez pas à lire cet email",
    "voir cet e-mail dans votre navigateur",
    "voir cet email dans votre navigateur",
    "voir cette newsletter dans votre navigateur",
    "consultez la version en ligne",
    "consulter la version en ligne",
    "version en ligne de cet email",
    "version en ligne de cet e-mail",
    "add us to your address book",
    "images are not displayed",
    "this email was sent to",
    "cet e-mail vous a été envoyé",
    "vous recevez la newsletter",
    "vous recevez cet e-mail car",
    "vous recevez cet email car",
    "you are receiving this newsletter",
    "you’re receiving this newsletter",
    "you're receiving this newsletter",
};

constexpr std::string_view optOutPhrases[] = {
    "unsubscribe",
    "désinscrire",
    "desinscrire",
    "désabonner",
    "desabonner",
    "se désinscrire",
    "manage your preferences",
    "email preferences",
    "préférences e-mail",
    "preferences de messagerie",
};

constexpr std::string_view reasonPhrases[] = {
    "vous recevez la newsletter",
    "vous recevez cet e-mail",
    "vous recevez cet email",
    "you are receiving this email because",
    "you’re receiving this email because",
    "you're receiving this email because",
};

bool saysWhyItWasSent(std::string_view text) {
  return containsAny(text, reasonPhrases) ||
         (contains(text, "newsletter") && contains(text, "car vous"));
}

}  // namespace

std::optional<PrefilterSkipReason> marketingSkipReason(const ParsedMail& mail,
                                                       const AppConfig& config) {
  if (!config.prefilterMarketingEnabled) return std::nullopt;
  if (isBulkListMail(mail, config)) return PrefilterSkipReason::bulkListHeaders;
  if (containsUnsubscribeWord(mail)) return PrefilterSkipReason::unsubscribeWord;
  if (looksLikeNewsletterTemplate(mail, config)) return PrefilterSkipReason::newsletterTemplate;
  return std::nullopt;
}

bool isBulkListMail(const ParsedMail& mail, const AppConfig& config) {
  if (!config.prefilterMarketingEnabled || !config.prefilterPrecedenceBulk) return false;
  const std::string_view headers = splitHeaders(mail.rawRFC822).headers;
  return namesBulkPrecedence(headerText("Precedence", headers)) ||
         namesBulkPrecedence(headerText("X-Precedence", headers)) ||
         isPresent("Mailing-List", headers) || isAutoReply(headers) ||
         suppressesAutoReplies(headers) ||
         (isPresent("List-Unsubscribe", headers) && isMarketingSubject(mail.subject));
}

bool containsUnsubscribeWord(const ParsedMail& mail) {
  return hasUnsubscribeWord(mail.subject) || hasUnsubscribeWord(mail.bodyText) ||
         hasUnsubscribeWord(graphemePrefix(mail.rawRFC822, searchedSourceCharacters));
}

bool looksLikeNewsletterTemplate(const ParsedMail& mail, const AppConfig& config) {
  if (!config.prefilterMarketingEnabled || !config.prefilterNewsletterTemplateHeuristic) {
    return false;
  }
  const std::string whole = lowercased(mail.subject + "\n" + mail.bodyText);
  const std::string_view text = graphemePrefix(whole, searchedTemplateCharacters);
  return containsAny(text, templatePhrases) ||
         (containsAny(text, optOutPhrases) && saysWhyItWasSent(text));
}

std::string_view skipReasonLabel(PrefilterSkipReason reason) {
  switch (reason) {
    case PrefilterSkipReason::gmailPromotions:
      return "Gmail Promotions";
    case PrefilterSkipReason::gmailSocial:
      return "Gmail Social";
    case PrefilterSkipReason::outlookOther:
      return "Outlook Other";
    case PrefilterSkipReason::bulkListHeaders:
      return "bulk/list headers";
    case PrefilterSkipReason::unsubscribeWord:
      return "unsubscribe";
    case PrefilterSkipReason::newsletterTemplate:
      return "newsletter template";
  }
  return {};
}

}  // namespace halcyra
