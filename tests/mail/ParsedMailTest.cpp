#include "mail/ParsedMail.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <set>
#include <sstream>

#include "mail/BodyCleanup.h"
#include "mail/EncodedWords.h"
#include "mail/Headers.h"
#include "mail/Mojibake.h"
#include "mail/QuotedPrintable.h"
#include "mail/TransferDecoding.h"
#include "support/RandomText.h"
#include "text/Case.h"
#include "text/Graphemes.h"
#include "text/Json.h"
#include "text/Trim.h"
#include "text/Utf8.h"

namespace halcyra {
namespace {

using namespace std::literals;

std::string fileText(const std::filesystem::path& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

std::string bodyOf(std::string message) {
  return ParsedMail::fromRawMessage("box", "id", 1, std::move(message)).value().bodyText;
}

std::string withNewlines(const std::string& text, const std::string& newline) {
  std::string result;
  for (const char c : text) result += c == '\n' ? newline : std::string(1, c);
  return result;
}

// NAME.eml is stored with LF; "newlines" of NAME.json says whether it also came with CR LF.
TEST(Zoo, EveryMessageGivesItsExpectedRecord) {
  std::size_t messages = 0;
  for (const auto& entry : std::filesystem::directory_iterator(HALCYRA_TEST_DATA "/mail")) {
    if (entry.path().extension() != ".eml") continue;
    const std::string lf = fileText(entry.path());
    std::filesystem::path expectedPath = entry.path();
    const auto expected = nlohmann::json::parse(fileText(expectedPath.replace_extension(".json")));
    for (const std::string newline : {"\n", "\r\n"}) {
      const std::string body = newline == "\n" ? "bodyText" : "bodyTextCRLF";
      if (!expected.contains(body)) continue;
      SCOPED_TRACE(entry.path().filename().string() + " " + body);
      const std::string text = repairedUtf8(withNewlines(lf, newline));
      std::vector<std::string> lines = {"* 1 FETCH", std::string(literalMarker) + text, ")"};
      const auto mail = ParsedMail::fromIMAPFetch("box", 7, lines);
      ASSERT_TRUE(mail);
      EXPECT_EQ(mail->messageID, expected["messageID"]);
      EXPECT_EQ(mail->subject, expected["subject"]);
      EXPECT_EQ(mail->from, expected["from"]);
      EXPECT_EQ(mail->date, expected["date"]);
      EXPECT_EQ(mail->bodyText, expected[body]);
      EXPECT_EQ(ParsedMail::withoutSource(text)->bodyText, expected[body]);
      ++messages;
    }
  }
  EXPECT_GE(messages, 25u);
}

TEST(ParsedMail, RecordFromFetchAndFromRaw) {
  std::vector<std::string> lines = {"__LITERAL__\nSubject: a\r\n b\r\n", "* 3 FETCH (UID 9)",
                                    "__LITERAL__\n\r\nHello", ")"};
  const auto fetched = ParsedMail::fromIMAPFetch("box", 9, lines);
  EXPECT_EQ(fetched, (ParsedMail{"box", 9, std::nullopt, "uid-9@halcyra.local", "a b", "", "",
                                 "Subject: a\r\n b\r\n\r\nHello", "Hello"}));
  EXPECT_EQ(fetched->classificationEmailText(), "Subject: a b\nFrom: \nDate: \n\nHello");
  std::vector<std::string> empty = {"* 3 FETCH", "__LITERAL__\n"};
  EXPECT_EQ(ParsedMail::fromIMAPFetch("box", 9, empty), std::nullopt);
  EXPECT_EQ(ParsedMail::fromRawMessage("box", "id", 1, " \r\n\u00A0"), std::nullopt);
  EXPECT_EQ(ParsedMail::withoutSource(""), std::nullopt);
  EXPECT_EQ(ParsedMail::withoutSource("Subject: a\n\n Hello\uFFFD \n"),
            (ParsedMail{"", 0, std::nullopt, "uid-0@halcyra.local", "a", "", "", "", "Hello"}));
  EXPECT_EQ(ParsedMail::fromRawMessage("box", "id", 4, "\n only text \n"),
            (ParsedMail{"box", 4, "id", "api-4@halcyra.local", "(no subject)", "", "", "only text",
                        "only text"}));
  EXPECT_EQ(ParsedMail::fromRawMessage("b", "i", 4, "Message-Id: \nX: y\n\nz")->messageID,
            "api-4@halcyra.local");
}

TEST(ParsedMail, BodyIsCutBehindFiftyThousandCharacters) {
  const std::string marks = "a\u0301\u0302";
  std::string body;
  for (int character = 0; character < 50'000; ++character) body += marks;
  EXPECT_EQ(bodyOf("X: y\n\n" + body), body);
  EXPECT_EQ(bodyOf("X: y\n\n" + body + "z"), body + "\n…");
}

TEST(Headers, Table) {
  struct Case {
    std::string_view block;
    std::optional<std::string> value;
  };
  const Case cases[] = {{"Subject: one\nSubject: two", "two"},
                        {"subject :\tone\n two\n\tthree ", "one two three"},
                        {"Subject:one\nX: y\n folded\nno colon\n more", "one"},
                        {"Subject:one\nno colon\n more", "one more"},
                        {"Subject:one\nsubject:\nX: y", ""},
                        {" Subject: continuation first", std::nullopt},
                        {"Subject: a\r\n b\r\nY: c\nd", "a b"},
                        {"Subject: lf\nX: y\r\nZ: crlf", "lf\nX: y"},
                        {"", std::nullopt}};
  for (const Case& c : cases) EXPECT_EQ(headerValue("SUBJECT", c.block), c.value) << c.block;
  EXPECT_EQ(splitHeaders("a\n\nb\r\n\r\nc").headers, "a\n\nb");
  EXPECT_EQ(splitHeaders("a\n\nb").body, "b");
  EXPECT_EQ(splitHeaders("a\nb").body, "a\nb");
}

TEST(EncodedWords, Table) {
  const std::pair<std::string, std::string_view> cases[] = {
      {"Re: =?utf-8?B?R3LDvMOfZQ==?= =?iso-8859-1?b?4oKs?=!", "Re: Grüße €!"},
      {"=?utf-8?Q?Gr=C3=BC=C3=9Fe?=", "=?utf-8?Q?Gr=C3=BC=C3=9Fe?="},
      {"=?x?B?R3LD\nvMOfZQ==?=", "Grüße"},
      {"=?x?B?not base64?= =?x?B?/////w==?=", "not base64 /////w=="},
      {"=?utf-8?B?"
       "?= =?=?B?YQ==?=",
       "=?utf-8?B?"
       "?= a"}};
  for (const auto& [text, expected] : cases) EXPECT_EQ(decodeEncodedWords(text), expected) << text;
}

TEST(QuotedPrintable, Table) {
  const std::pair<std::string, std::string_view> cases[] = {
      {"a=3Db=c3=A9=\nx",
       "a=bé"
       "x"},
      {"soft=\r\nXbreak", "softbreak"},
      {"soft=\r\n\r\nbreak", "softbreak"},
      {"soft=\r\n👩‍👩‍👧break=\r\n", "softbreak"},
      {"soft=\r\n=41", "soft41"},
      {"= =4 =G1 =", "= =4 =G1 ="},
      {"=4\u0301 =41\u0301 =\u03013D", "=4\u0301 =41\u0301 =\u03013D"},
      {"\u0600=41", "\u0600=41"},
      {"=\r=41", "=\rA"}};
  for (const auto& [text, expected] : cases)
    EXPECT_EQ(quotedPrintableBytes(text), expected) << text;
}

// The rule as it reads: one character after the other.
TEST(QuotedPrintable, ReadsCharacterByCharacter) {
  constexpr std::string_view tokens[] = {"=",    "=",      "=4", "1",      "f",
                                         "\r\n", "\n",     "\r", "\u0301", "\u0600",
                                         "é",    "\u200D", "👩",  "🇩",      "x"};
  const auto isHex = [](const std::string& c) { return c.size() == 1 && std::isxdigit(c[0]); };
  RandomText random(5);
  for (int round = 0; round < 30000; ++round) {
    const std::string text = random.of(tokens, 12);
    std::vector<std::string> characters;
    for (std::string_view rest = text; !rest.empty();
         rest.remove_prefix(characters.back().size())) {
      characters.emplace_back(graphemePrefix(rest, 1));
    }
    characters.resize(characters.size() + 3);
    std::string expected;
    for (std::size_t at = 0; at + 3 < characters.size();) {
      const std::string &first = characters[at + 1], &second = characters[at + 2];
      if (characters[at] == "=" && first == "\r\n") {
        at += 3;
      } else if (characters[at] == "=" && first == "\n") {
        at += 2;
      } else if (characters[at] == "=" && isHex(first) && isHex(second)) {
        expected += static_cast<char>(std::stoi(first + second, nullptr, 16));
        at += 3;
      } else {
        expected += characters[at++];
      }
    }
    ASSERT_EQ(quotedPrintableBytes(text), expected) << testing::PrintToString(text);
  }
}

TEST(TransferDecoding, Table) {
  struct Case {
    std::string_view encoding, body, text;
  };
  const Case cases[] = {{"base64", " R3LD\r\nvM\n OfZQ==\r\n", "Grüße"},
                        {"b64", "R3LD\rvMOfZQ==", "R3LD\rvMOfZQ=="},
                        {"base64", "R3LDvMOfZQ", "R3LDvMOfZQ"},
                        {"base64", "gCBjYWbp", "€ café"},
                        {"qp", "=80 x", "€ x"},
                        {"8bit", "one =C3=A9", "one =C3=A9"},
                        {"8bit", "a=3D=C3=A9", "a=é"},
                        {"x-unknown", "=C3=A9=C3=A9", "éé"},
                        {"7bit", " as it is ", " as it is "}};
  for (const Case& c : cases) {
    EXPECT_EQ(decodeTransfer(c.body, c.encoding, "windows-1252"), c.text) << c.body;
  }
}

TEST(Mojibake, Table) {
  const std::pair<std::string, std::string_view> cases[] = {
      {"cafÃ©", "café"},
      {"caf\u00C3\u0083\u00C2\u00A9", "café"},
      {"café", "café"},
      {"plain", "plain"},
      {"Ã© and €", "Ã© and €"},
      {"\u00D0\u0096", "\u00D0\u0096"},
      {"Â£5", "£5"},
      {"\u00C3\u0083\u00CC\u0081", "\u00C3\u0301"},
      {"", ""}};
  for (const auto& [text, expected] : cases) {
    EXPECT_EQ(repairMojibake(std::string(text), 3), expected) << text;
  }
  EXPECT_EQ(repairMojibake("caf\u00C3\u0083\u00C2\u00A9", 1), "cafÃ©");
}

std::string applied(void (*step)(std::string&), std::string text) {
  step(text);
  return text;
}

TEST(BodyCleanup, Table) {
  const std::pair<std::string_view, std::string_view> repeated[] = {
      {"Same\n x \n\n\n\nsame\nX\t\nnew\n", "Same\nx\n\nnew"},
      {"a\r\n\r\nb\r\n\r\nc", "a\r\n\r\nb\r\nc"},
      {"ÄÖ\näö\nß", "ÄÖ\nß"},
      {"\u212A\u212A\nkk\nk\n\u212A", "\u212A\u212A\nk"},  // a lower-case form much shorter
      {"", ""}};
  for (const auto& [text, expected] : repeated) {
    EXPECT_EQ(applied(dropRepeatedLines, std::string(text)), expected) << text;
  }
  const std::string long200(200, 'x');
  const std::pair<std::string, std::string> cleaned[] = {
      {"\uFEFFa\uFFFD\uFFFCb\uFFFE<x>\n\n\n\nc<" + long200 + "> d<" + long200 + "x>",
       "ab\uFFFE\n\nc d<" + long200 + "x>"},
      {"\n 1 < 2\n3 > 4 <> \u00A0", "1 < 2\n3 > 4"}};
  for (const auto& [text, expected] : cleaned) EXPECT_EQ(applied(finalCleanup, text), expected);
  EXPECT_EQ(applied(stripLinkResidue,
                    "x a href=\"u\" target=\"t\">go a HREF = \"v\" <td w>z bA href=\"\""),
            "x go  \nz bA href=\"\"");
  EXPECT_EQ(
      stripMIMENoise("pre\r\n--b\r\nContent-ID: 1\r\n\t mime-version:1\r\n\r\n  kept \r\nx\r"),
      "pre\n\n  kept \nx");
}

// The naive form of dropRepeatedLines.
TEST(BodyCleanup, RepeatedLinesAgreeWithASetOfThem) {
  constexpr std::string_view tokens[] = {"a", "A",  "é",  "É",       "\n", "\n",     "\n",
                                         " ", "\t", "\r", "bb",      "k",  "\u212A", "Σ",
                                         "σ", "ς",  "İ",  "i\u0307", "'",  "→",      "😀"};
  RandomText random(6);
  for (int round = 0; round < 20000; ++round) {
    const std::string text = random.of(tokens, round % 2 == 0 ? 30 : 200);
    std::set<std::string> seen;
    std::vector<std::string> kept;
    std::istringstream lines(text + "\n");
    for (std::string raw; std::getline(lines, raw);) {
      const std::string line(trimmedOf(raw, " \t"));
      if (line.empty() ? kept.empty() || !kept.back().empty()
                       : seen.insert(lowercased(line)).second) {
        kept.push_back(line);
      }
    }
    std::string joined;
    for (const std::string& line : kept) joined += line + "\n";
    ASSERT_EQ(applied(dropRepeatedLines, text), trimmed(joined)) << testing::PrintToString(text);
  }
  std::string many, again;
  for (int number = 0; number < 5000; ++number) {
    many += "Ä" + std::to_string(number) + "\n";
    again += " ä" + std::to_string(number) + "\n";
  }
  EXPECT_EQ(applied(dropRepeatedLines, many + again), trimmed(many));
}

// A run of each shape that tempts a scanner to read the rest again and again.
TEST(HostileShapes, EndWithBoundedText) {
  const std::string_view shapes[] = {"<script ",
                                     "<script>",
                                     "</script",
                                     "<",
                                     "<>",
                                     "< ",
                                     "<td ",
                                     "<td<",
                                     "&",
                                     "&#",
                                     "&#1",
                                     "&a",
                                     "&amp;",
                                     "=?utf-8?B?",
                                     "=?",
                                     "a href=\"",
                                     "a href = ",
                                     "href",
                                     "href=\"\" target=\"",
                                     "<!--",
                                     "<!--<",
                                     "-->",
                                     "<![CDATA[",
                                     "<![cdata[]]",
                                     "=",
                                     "=\n",
                                     "=\r\n",
                                     "=é",
                                     "=4",
                                     "\r",
                                     "\n",
                                     "\r\n",
                                     " \n",
                                     "-",
                                     "--",
                                     "\n--",
                                     "\n--B",
                                     "\n--Bx",
                                     "\n--B\n\n",
                                     "\u0301",
                                     "é",
                                     "\u00C3",
                                     "\u00AD",
                                     "Σ'",
                                     "\uFEFF",
                                     "x\n",
                                     "\u017F",
                                     " \u00A0",
                                     "\t:",
                                     "<svg><",
                                     "<br ",
                                     "</p ",
                                     "\u0600="};
  const std::string_view prefixes[] = {
      "Content-Type: text/html\n\n", "Content-Type: multipart/mixed; boundary=B\n\n--B\n\n",
      "Subject: ", "Content-Type: text/plain\nContent-Transfer-Encoding: quoted-printable\n\n"};
  for (const std::string_view shape : shapes) {
    std::string run;
    while (run.size() < 200'000) run += shape;
    for (const std::string_view prefix : prefixes) {
      const auto mail = ParsedMail::fromRawMessage("box", "id", 1, std::string(prefix) + run);
      ASSERT_TRUE(mail) << shape;
      EXPECT_TRUE(isValidUtf8(mail->bodyText)) << shape;
      EXPECT_FALSE(hasMoreGraphemesThan(mail->bodyText, 50'002)) << shape;
    }
  }
}

}  // namespace
}  // namespace halcyra
