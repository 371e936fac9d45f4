#include "mail/OutboundMessages.h"

#include <gtest/gtest.h>

#include "mail/MailAddress.h"
#include "text/Uuid.h"

namespace halcyra {
namespace {

struct Row {
  std::string_view given;
  std::string_view expected;
};

TEST(OutboundSubject, OnePrefixThatIsFollowedByWhiteSpaceIsEnough) {
  for (const auto& [given, expected] : {
           Row{"Lunch", "Re: Lunch"},
           Row{" \r\n Lunch\u00A0", "Re: Lunch"},
           Row{"RE: Lunch", "RE: Lunch"},
           Row{"re:\u00A0Lunch", "re:\u00A0Lunch"},
           Row{"Re:Lunch", "Re: Re:Lunch"},
           Row{"AW: Lunch", "Re: AW: Lunch"},
           Row{"Fwd: Lunch", "Re: Fwd: Lunch"},
           Row{"Re: ", "Re: Re:"},
           Row{"", "Re: "},
       }) {
    EXPECT_EQ(replySubject(given), expected);
  }
  for (const auto& [given, expected] : {
           Row{"Lunch", "Fwd: Lunch"},
           Row{"FWD:\tLunch", "FWD:\tLunch"},
           Row{"Fw: Lunch", "Fwd: Fw: Lunch"},
           Row{"Fwd:", "Fwd: Fwd:"},
           Row{"Re: Lunch", "Fwd: Re: Lunch"},
       }) {
    EXPECT_EQ(forwardSubject(given), expected);
  }
}

TEST(MailAddress, IsTheFirstThingThatLooksLikeOne) {
  constexpr std::string_view none = "-";
  for (const auto& [given, expected] : {
           Row{"Ann Lee <ann@x.org>", "ann@x.org"},
           Row{"\"a <b> c\" <ann@x.org>, <bob@x.org>", "ann@x.org"},
           Row{"<ann @x.org> <@x.org> <ann@> <bob@x.org>", "bob@x.org"},
           Row{"<a@b@c>", "a@b@c"},
           Row{"<<ann@x.org>", "<ann@x.org"},
           Row{"<@@> x", none},
           Row{"<a\u2003b@x.org> c@d", "a\u2003b@x.org"},
           Row{"  ann@x.org, ", "ann@x.org"},
           Row{"mail \"ann@x.org\"; thanks", "ann@x.org"},
           Row{"@ a@b@c d@e", "d@e"},
           Row{"@a@@b", "@a@@b"},
           Row{"a@b@c", "a@b@c"},  // not as a word, but as the whole text
           Row{"x a@b@c", none},
           Row{"<ann@x.org", "ann@x.org"},
           Row{"ann", none},
           Row{"", none},
       }) {
    EXPECT_EQ(extractMailAddress(given).value_or("-"), expected) << given;
  }
  const std::string brackets(1'000'000, '<');
  EXPECT_EQ(extractMailAddress(brackets + "@" + brackets), "@");
}

TEST(MessageIdInBrackets, HasOnePairAndIsNeverEmpty) {
  for (const auto& [given, expected] : {
           Row{"a@b", "<a@b>"},
           Row{" \r\n<<a@b>> ", "<a@b>"},
           Row{" <> ", "<unknown@halcyra.local>"},
           Row{"", "<unknown@halcyra.local>"},
       }) {
    EXPECT_EQ(angleBracketed(given), expected);
  }
}

TEST(References, ComeFromTheHeaderBlockOnly) {
  EXPECT_EQ(referencesHeader("A: b\r\nreferences: <1@x>\r\n <2@x> \r\n\r\nt"), "<1@x> <2@x>");
  EXPECT_EQ(referencesHeader("References: <1@x>\n\nt"), "<1@x>");
  EXPECT_EQ(referencesHeader("References: \r\n\r\nt"), std::nullopt);
  EXPECT_EQ(referencesHeader("A: b\r\n\r\nReferences: <1@x>\r\n\r\n"), std::nullopt);
  EXPECT_EQ(referencesHeader("References: <1@x>\r\n"), std::nullopt);
}

// Takes the generated id out, so that the rest can be compared whole.
std::string withoutId(std::string text) {
  const std::string before = "\r\nMessage-ID: <";
  const std::size_t at = text.find(before) + before.size();
  const std::string id = text.substr(at, 36);
  EXPECT_TRUE(isCanonicalUuid(id)) << text;
  EXPECT_EQ(id.find_first_of("abcdef"), id.npos);
  return text.replace(at, 36, "UUID");
}

TEST(Reply, IsThisTextToTheByte) {
  const ReplyFields fields{"me@x.org", "Ann <ann@y.org>", "Lünch",
                           "a@y",      " <1@y> ",         "Hi,\nyes\r\n\rBye\n"};
  const std::string expected =
      "From: me@x.org\r\nTo: Ann <ann@y.org>\r\nSubject: Re: Lünch\r\n"
      "Message-ID: <UUID@halcyra.local>\r\nIn-Reply-To: <a@y>\r\nReferences: <1@y> <a@y>\r\n"
      "MIME-Version: 1.0\r\nContent-Type: text/plain; charset=UTF-8\r\n"
      "Content-Transfer-Encoding: 8bit\r\n\r\nHi,\r\nyes\r\n\r\nBye\r\n\r\n";
  EXPECT_EQ(withoutId(buildReplyMessage(fields)), expected);
  EXPECT_NE(buildReplyMessage(fields), buildReplyMessage(fields));

  const std::string blank = withoutId(buildReplyMessage({"", "", "", "", "  ", ""}));
  EXPECT_EQ(blank.find("From: \r\nTo: \r\nSubject: Re: \r\n"), 0u);
  EXPECT_NE(blank.find("In-Reply-To: <unknown@halcyra.local>\r\n"
                       "References: <unknown@halcyra.local>\r\nMIME"),
            blank.npos);
}

TEST(Reply, NoValueStartsAHeaderOfItsOwn) {
  const std::string evil = "a\r\nBcc: b\nBcc: c\rBcc: d";
  const std::string harmless = "a Bcc: b Bcc: cBcc: d";
  EXPECT_EQ(withoutId(buildReplyMessage({evil, evil, evil, evil, evil, "t"})),
            withoutId(buildReplyMessage({harmless, harmless, harmless, harmless, harmless, "t"})));
  EXPECT_EQ(buildForwardMessage({evil, evil, evil, "t"}),
            buildForwardMessage({harmless, harmless, harmless, "t"}));
  EXPECT_EQ(buildSimpleForwardMessage(evil, evil, "t"),
            buildSimpleForwardMessage(harmless, harmless, "t"));
  EXPECT_EQ(buildSimpleForwardMessage(harmless, "s", "t").find("\nBcc"), std::string::npos);
}

TEST(Forward, HeadersOfTheRawMessageContinueTheOuterOnes) {
  const std::string head =
      "From: me@x.org\r\nTo: ann@y.org\r\nSubject: Fwd: Hi\r\nMIME-Version: 1.0\r\n"
      "Content-Type: message/rfc822\r\n";
  EXPECT_EQ(buildForwardMessage({"me@x.org", " ann@y.org\n", "Hi", "A: b\r\n\r\nt"}),
            head + "A: b\r\n\r\nt\r\n");
  EXPECT_EQ(buildForwardMessage({"me@x.org", "ann@y.org", "Fwd: Hi", "t\r\n"}), head + "t\r\n");
  EXPECT_EQ(buildForwardMessage({"me@x.org", "ann@y.org", "Hi", "t\n"}), head + "t\n\r\n");
  EXPECT_EQ(buildSimpleForwardMessage(" ann@y.org ", "Hi", "A: b\r\n\r\nt"),
            "To: ann@y.org\nSubject: Fwd: Hi\nMIME-Version: 1.0\nContent-Type: message/rfc822\n\n"
            "A: b\r\n\r\nt");
}

TEST(PlainNote, EveryKindOfLineBreakBecomesCRLF) {
  const std::string head =
      "MIME-Version: 1.0\r\nContent-Type: text/plain; charset=UTF-8\r\n"
      "Content-Transfer-Encoding: 8bit\r\n\r\n";
  for (const auto& [given, expected] : {
           Row{"", "\r\n"},
           Row{"a\nb\r\nc\rd\n\r\n\n\r", "a\r\nb\r\nc\r\nd\r\n\r\n\r\n\r\n\r\n"},
           Row{"\r\r\n", "\r\n\r\n\r\n"},
       }) {
    EXPECT_EQ(plainTextMIMEBody(given), head + std::string(expected));
  }
}

TEST(RecipientHeaders, GoWithTheirFoldedLines) {
  for (const auto& [given, expected] : {
           Row{"To: a\r\nSubject: s\r\n\r\nTo: t", "Subject: s\r\n\r\nTo: t"},
           Row{"A: b\r\nCC : c,\r\n\td\r\nB: c\r\n d\r\nbcc:\r\n\r\nt",
               "A: b\r\nB: c\r\n d\r\n\r\nt"},
           Row{" to: x\nTo: a\n b\nno colon\n kept\nTo-Do: x\n\nt",
               " to: x\nno colon\n kept\nTo-Do: x\n\nt"},
           Row{"To: a\r\n\r\nt", "t"},
           Row{"To: a\nCc: b\n\nt", "t"},
           Row{"A: b\nTo: a\n\nt\r\n", "A: b\r\n\r\nt\r\n"},
           Row{"A: b\nTo: a\r\n\r\nt", "A: b\r\n\r\nt"},
           Row{"A: b\r\nC: d\nTo: a\r\n\r\nt", "A: b\r\nC: d\nTo: a\r\n\r\nt"},
           Row{"\r\n\r\nt", "t"},
           Row{"To: a\r\nSubject: s\r\n", "To: a\r\nSubject: s\r\n"},
           Row{"", ""},
       }) {
    EXPECT_EQ(removeRecipientHeaders(given), expected);
  }
}

}  // namespace
}  // namespace halcyra
