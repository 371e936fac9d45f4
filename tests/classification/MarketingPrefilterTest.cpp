#include "classification/MarketingPrefilter.h"

#include <gtest/gtest.h>
#include <unicode/regex.h>

#include <random>
#include <sstream>

#include "classification/MarketingWords.h"
#include "text/Case.h"
#include "text/Utf8.h"

namespace halcyra {
namespace {

using Reason = PrefilterSkipReason;

ParsedMail mailOf(std::string headers, std::string subject = "Hello", std::string body = "Text") {
  ParsedMail mail;
  mail.subject = std::move(subject);
  mail.bodyText = std::move(body);
  mail.rawRFC822 = std::move(headers) + "\r\n\r\nraw body";
  return mail;
}

// What stands between the bars.
std::vector<std::string> piecesOf(const std::string& list) {
  std::istringstream rest(list);
  std::vector<std::string> pieces;
  for (std::string piece; std::getline(rest, piece, '|');) pieces.push_back(piece);
  return pieces;
}

TEST(MarketingPrefilter, BulkAndListHeaders) {
  struct Case {
    std::string headers;
    bool bulk;
    std::string subject = "Hello";
  };
  const Case cases[] = {
      {"Precedence: bulk", true},
      {"precedence: LIST, other", true},
      {"Precedence: first;\u00A0junk", true},
      {"Precedence: normal non-urgent", true},
      {"X-Precedence: Non_Urgent", true},
      {"X-Precedence: a,;nonurgent;", true},
      {"Precedence: bulky, lists", false},
      {"Precedence: ", false},
      {"Precedence: bulk\r\nPrecedence: normal", false},
      {"Mailing-List: list x", true},
      {"Mailing-List: \u00A0", false},
      {"Auto-Submitted: Auto-Replied ; x=y", true},
      {"Auto-Submitted: auto-generated", false},
      {"Auto-Submitted: no; auto-replied", false},
      {"X-Auto-Response-Suppress: DR, OOF", true},
      {"X-Auto-Response-Suppress:  All", true},
      {"X-Auto-Response-Suppress: All, DR", false},
      {"X-Auto-Response-Suppress: DR", false},
      {"List-Unsubscribe: <x>", false},
      {"List-Unsubscribe: <x>", true, "Our NEWSLETTER"},
      {"List-Unsubscribe: <x>", true, "Weekly digest"},
      {"List-Unsubscribe: <x>", true, "Digest, DAILY"},
      {"List-Unsubscribe: <x>", false, "Digest"},
      {"List-Unsubscribe: <x>", false, "Weekly news"},
      {"List-Unsubscribe: <x>", false, "Wholesale prices"},
      {"List-Unsubscribe: <x>", true, "Big Sale!"},
      {"List-Unsubscribe:  ", false, "Big Sale!"},
      {"Subject: x", false, "Big Sale!"},
  };
  AppConfig config;
  for (const Case& each : cases) {
    const ParsedMail mail = mailOf(each.headers, each.subject);
    EXPECT_EQ(isBulkListMail(mail, config), each.bulk) << each.headers << each.subject;
  }
  ParsedMail bare = mailOf("");
  bare.rawRFC822 = "Precedence: bulk";  // no blank line, so no headers
  EXPECT_FALSE(isBulkListMail(bare, config));
  bare.rawRFC822 = "Precedence: bulk\n\n";
  EXPECT_TRUE(isBulkListMail(bare, config));
  bare.rawRFC822.clear();
  EXPECT_FALSE(isBulkListMail(bare, config));
}

TEST(MarketingPrefilter, UnsubscribeWordInSubjectBodyOrSource) {
  EXPECT_TRUE(containsUnsubscribeWord(mailOf("List-UNSUBSCRIBE: <x>")));
  EXPECT_TRUE(containsUnsubscribeWord(mailOf("", "Unsubscribed?")));
  EXPECT_TRUE(containsUnsubscribeWord(mailOf("", "", "please uNsubscribe me")));
  EXPECT_FALSE(containsUnsubscribeWord(mailOf("", "unsub", "scribe")));
  EXPECT_FALSE(containsUnsubscribeWord(mailOf("", "unsubscr\u0130be", "un-subscribe")));
  ParsedMail mail = mailOf("");
  const std::string word = "unsubscribe";
  const auto padded = [](std::size_t lines) {
    std::string text;  // CR LF and a letter with its accent are one character each
    for (std::size_t line = 0; line < lines; ++line) text += "e\u0301\r\n";
    return text;
  };
  mail.rawRFC822 = padded(249'994) + "x" + word;
  EXPECT_TRUE(containsUnsubscribeWord(mail));
  mail.rawRFC822 = padded(249'995) + word;
  EXPECT_FALSE(containsUnsubscribeWord(mail));
  mail.subject = word;
  EXPECT_TRUE(containsUnsubscribeWord(mail));
}

// Why the word may be searched without lower-casing the text.
TEST(MarketingPrefilter, NoForeignLetterLowersIntoTheWord) {
  for (char32_t c = 0x80; c <= 0x10FFFF; ++c) {
    if (c >= 0xD800 && c <= 0xDFFF) continue;
    std::string text;
    appendUtf8(text, c);
    const std::string lower = lowercased(text);
    if (lower.find_first_of("unsbcrie") == std::string::npos) continue;
    EXPECT_EQ(lower, "i\u0307") << static_cast<unsigned>(c);  // breaks the word in two
  }
}

TEST(MarketingPrefilter, NewsletterPhrases) {
  AppConfig config;
  const auto looksSo = [&](const std::string& body) {
    return looksLikeNewsletterTemplate(mailOf("", "Hello", body), config);
  };
  for (const std::string& body : piecesOf(
           "VIEW this email in your browser|view email in your browser|"
           "view the email in your browser|having trouble viewing this email|"
           "having trouble viewing the email|read this email online|read this e-mail online|"
           "if you cannot read this email|Si vous ne parvenez pas À lire cet e-mail|"
           "si vous ne parvenez pas à lire cet email|voir cet e-mail dans votre navigateur|"
           "voir cet email dans votre navigateur|voir cette newsletter dans votre navigateur|"
           "consultez la version en ligne|consulter la version en ligne|"
           "version en ligne de cet email|version en ligne de cet e-mail|"
           "add us to your address book|images are not displayed|this email was sent to|"
           "cet e-mail vous a été envoyé|vous recevez la newsletter|vous recevez cet e-mail car|"
           "vous recevez cet email car|you are receiving this newsletter|"
           "You’re receiving this newsletter|you're receiving this newsletter")) {
    EXPECT_TRUE(looksSo(body)) << body;
  }
  const std::vector<std::string> optOuts = piecesOf(
      "unsubscribe|désinscrire|desinscrire|DÉSABONNER|desabonner|se désinscrire|email preferences|"
      "manage your preferences|préférences e-mail|preferences de messagerie");
  const std::vector<std::string> reasons = piecesOf(
      "vous recevez cet e-mail|vous recevez cet email|newsletter ... car vous|"
      "you are receiving this email because|you’re receiving this email because|"
      "you're receiving this email because");
  for (const std::string& optOut : optOuts) {
    EXPECT_TRUE(looksSo(optOut + " " + reasons[0])) << optOut;
    EXPECT_FALSE(looksSo(optOut + " newsletter")) << optOut;
  }
  for (const std::string& reason : reasons) {
    EXPECT_TRUE(looksSo(reason + "\n" + optOuts[0])) << reason;
    EXPECT_FALSE(looksSo(reason)) << reason;
  }
  EXPECT_FALSE(looksSo("cet e-mail vous a ete envoye"));
  EXPECT_TRUE(looksLikeNewsletterTemplate(mailOf("", "This email was sent to", ""), config));

  const std::string phrase = "images are not displayed";  // after "Hello" and a line feed
  EXPECT_TRUE(looksSo(std::string(8000 - 6 - phrase.size(), 'x') + phrase));
  EXPECT_FALSE(looksSo(std::string(8001 - 6 - phrase.size(), 'x') + phrase));
}

TEST(MarketingPrefilter, FirstYesDecidesAndSwitchesHold) {
  AppConfig config;
  const ParsedMail bulk = mailOf("Precedence: bulk", "unsubscribe", "images are not displayed");
  ParsedMail word = bulk;
  word.rawRFC822.clear();
  ParsedMail phrase = word;
  phrase.subject.clear();
  EXPECT_EQ(marketingSkipReason(bulk, config), Reason::bulkListHeaders);
  EXPECT_EQ(marketingSkipReason(word, config), Reason::unsubscribeWord);
  EXPECT_EQ(marketingSkipReason(phrase, config), Reason::newsletterTemplate);
  EXPECT_EQ(marketingSkipReason(mailOf(""), config), std::nullopt);

  config.prefilterPrecedenceBulk = false;
  config.prefilterNewsletterTemplateHeuristic = false;
  EXPECT_EQ(marketingSkipReason(bulk, config), Reason::unsubscribeWord);
  EXPECT_EQ(marketingSkipReason(phrase, config), std::nullopt);

  config = AppConfig();
  config.prefilterMarketingEnabled = false;
  EXPECT_EQ(marketingSkipReason(bulk, config), std::nullopt);
  EXPECT_FALSE(isBulkListMail(bulk, config));
  EXPECT_FALSE(looksLikeNewsletterTemplate(bulk, config));
}

TEST(MarketingPrefilter, LabelsOfReasons) {
  const std::string_view labels[] = {"Gmail Promotions",  "Gmail Social", "Outlook Other",
                                     "bulk/list headers", "unsubscribe",  "newsletter template"};
  for (int reason = 0; reason < 6; ++reason) {
    EXPECT_EQ(skipReasonLabel(static_cast<Reason>(reason)), labels[reason]);
  }
}

TEST(MarketingPrefilter, MarketingWordsAgreeWithTheRegularExpression) {
  UErrorCode status = U_ZERO_ERROR;
  icu::RegexMatcher matcher(UNICODE_STRING_SIMPLE("\\b(promo|promotion|deals?|sale)\\b"), 0,
                            status);
  ASSERT_TRUE(U_SUCCESS(status));
  const std::string pieces[] = {
      "promo", "promotion", "deal",   "deals",  "sale",   "s",      "tion", " ", "-",      "_", "9",
      "é",     "\u0301",    "\u200D", "\u200C", "\u00AD", "\u203F", "日",   "😀", "\u20E3", "ª"};
  std::mt19937 random(7);
  int matches = 0;
  for (int round = 0; round < 50'000; ++round) {
    std::string text;
    for (unsigned piece = random() % 6; piece-- > 0;) text += pieces[random() % std::size(pieces)];
    const icu::UnicodeString wide = icu::UnicodeString::fromUTF8(text);
    matcher.reset(wide);
    const bool expected = matcher.find();
    matches += expected;
    ASSERT_EQ(hasMarketingWord(text), expected) << text;
  }
  EXPECT_TRUE(matches > 5'000 && matches < 45'000) << matches;
}

}  // namespace
}  // namespace halcyra
