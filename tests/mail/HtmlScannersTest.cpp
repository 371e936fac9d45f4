#include "mail/HtmlScanners.h"

#include <gtest/gtest.h>

#include <functional>
#include <map>

#include "mail/DecodeHTMLEntities.h"
#include "mail/EncodedWords.h"
#include "mail/HtmlToPlainText.h"
#include "mail/QuotedPrintable.h"
#include "support/IcuRegex.h"
#include "support/RandomText.h"
#include "text/RegexClasses.h"
#include "text/Trim.h"
#include "text/Utf8.h"
#include "text/WideSpace.h"

namespace halcyra {
namespace {

using namespace std::literals;

// Tokens that make and almost make the matches, with letters that only case folding makes equal.
constexpr std::string_view markup[] = {"<",
                                       "<",
                                       "</",
                                       ">",
                                       ">",
                                       "/",
                                       "!",
                                       "!--",
                                       "--",
                                       "-->",
                                       "<!--",
                                       "[CDATA[",
                                       "<![cdata[",
                                       "]]",
                                       "]]>",
                                       "script",
                                       "<script",
                                       "</script>",
                                       "\u017Fcript",
                                       "</\u017FCRIPT>",
                                       "style",
                                       "<\uFB06yle",
                                       "<sTYLE>",
                                       "</\uFB05yle>",
                                       "no\u017Fcript",
                                       "<noscript",
                                       "</noscript>",
                                       "<template>",
                                       "</template>",
                                       "<svg>",
                                       "</\u017Fvg>",
                                       "<head>",
                                       "</head>",
                                       "<title",
                                       "</title>",
                                       "<br",
                                       "</p",
                                       "</div",
                                       "</tr",
                                       "</h1",
                                       "</h6",
                                       "</h7",
                                       "<td",
                                       "</th",
                                       "tr",
                                       "t\u0131",
                                       "\u212A",
                                       "a",
                                       "A",
                                       "html",
                                       "font",
                                       "mjml",
                                       "x",
                                       "_",
                                       "7",
                                       " ",
                                       " ",
                                       "\t",
                                       "\n",
                                       "\n\n",
                                       "\r",
                                       "\r\n",
                                       "\u00A0",
                                       "\u2028",
                                       "\u0301",
                                       "\u00AD",
                                       "\u200D",
                                       "\u0930",
                                       "\u4E00",
                                       "\U0001F600",
                                       "\u017F",
                                       "\uFB00",
                                       "a href",
                                       "<a href",
                                       "href",
                                       "=",
                                       "=\"",
                                       "\"",
                                       "'",
                                       "\" ",
                                       "target=\"",
                                       "style = \"",
                                       "\u017Ftyle=\"\"",
                                       "http://",
                                       "https://",
                                       "http\u017F://",
                                       "HTTP:",
                                       "?"};

// Link openings are too long to come about by chance among all of these.
constexpr std::string_view linkPieces[] = {"a",
                                           " a",
                                           "A ",
                                           " href",
                                           "a href=\"",
                                           "a\u00A0HREF = \"x\"",
                                           "=",
                                           " =\"",
                                           "\"",
                                           "\"",
                                           "\">",
                                           " ",
                                           "\n",
                                           ">",
                                           "target=\"",
                                           " target = \"\"",
                                           "\u017Ftyle=\"",
                                           " STYLE=\"y\" ",
                                           "\uFB05yle=\"",
                                           "\u0301",
                                           "b",
                                           "-",
                                           "\u4E00"};

using Scanner = std::function<std::optional<Match>(std::string_view, std::size_t)>;

struct Rule {
  std::string_view expression;
  std::string_view by;
  Scanner scanner;
};

std::vector<Rule> rules() {
  const auto element = [](std::string_view name) {
    return
        [name](std::string_view text, std::size_t from) { return nextElement(text, from, name); };
  };
  const auto closing = [](std::string_view name) {
    return [name](std::string_view text, std::size_t from) {
      return nextClosingTag(text, from, name);
    };
  };
  const auto link = [](bool whole) {
    return [whole](std::string_view text, std::size_t from) {
      return nextLinkOpening(text, from, whole);
    };
  };
  return {
      {R"((?is)<script\b[^>]*>.*?</script>)", "\n", element("script")},
      {R"((?is)<style\b[^>]*>.*?</style>)", "\n", element("style")},
      {R"((?is)<noscript\b[^>]*>.*?</noscript>)", "\n", element("noscript")},
      {R"((?is)<template\b[^>]*>.*?</template>)", "\n", element("template")},
      {R"((?is)<svg\b[^>]*>.*?</svg>)", "\n", element("svg")},
      {R"((?is)<head\b[^>]*>.*?</head>)", "\n", element("head")},
      {R"((?is)<title\b[^>]*>.*?</title>)", "\n", element("title")},
      {R"((?i)<br\s*/?>)", "\n", nextLineBreak},
      {R"((?i)</p\s*>)", "\n\n", closing("p")},
      {R"((?i)</div\s*>)", "\n", closing("div")},
      {R"((?i)</tr\s*>)", "\n", closing("tr")},
      {R"((?i)</h[1-6]\s*>)", "\n\n", nextHeadingEnd},
      {R"(<!--[\s\S]*?-->)", "", nextComment},
      {R"((?i)<!\[CDATA\[[\s\S]*?\]\]>)", "\n", nextCharacterData},
      {R"(<[^>]+>)", "", nextTag},
      {R"(<[^>\n]{0,200}>)", "", nextShortTag},
      {R"((?i)</?t[rhd]\b[^>\n]{0,200}>)", "\n", nextTableTag},
      {R"(\n{3,})", "\n\n", nextBlankRun},
      {R"([^\S\n]+)", " ", nextWideSpace},
      {R"re((?i)\ba\s+href\s*=\s*"[^"]*"\s*(?:target\s*=\s*"[^"]*"\s*)?(?:style\s*=\s*"[^"]*"\s*)?>)re",
       "", link(true)},
      {R"re((?i)\ba\s+href\s*=\s*"[^"]*")re", "", link(false)},
  };
}

std::string scanned(const Rule& rule, std::string text) {
  replaceMatches(text, rule.by, rule.scanner);
  return text;
}

TEST(HtmlScanners, MatchWhatIcuMatches) {
  for (const Rule& rule : rules()) {
    SCOPED_TRACE(rule.expression);
    IcuRegex icu(rule.expression);
    ASSERT_TRUE(icu.valid());
    RandomText random(41);
    const bool ofLinks = rule.expression.find("href") != std::string_view::npos;
    const std::span<const std::string_view> tokens =
        ofLinks ? std::span<const std::string_view>(linkPieces) : markup;
    std::size_t changed = 0;
    for (int round = 0; round < 6000; ++round) {
      const std::string text = random.of(tokens, 24);
      const std::string expected = icu.replaceAll(text, rule.by);
      changed += expected != text;
      ASSERT_EQ(scanned(rule, text), expected) << testing::PrintToString(text);
    }
    EXPECT_GT(changed, 0u);
  }
}

TEST(HtmlScanners, BoundedTagsCountCodePoints) {
  for (const std::size_t length : {199, 200, 201, 260}) {
    for (const std::string_view letter : {"x"sv, "é"sv, "😀"sv, "<"sv, "<td "sv}) {
      for (const std::string_view opening : {"<"sv, "</TD "sv, "<tr>"sv}) {
        std::string text = "a" + std::string(opening);
        for (std::size_t count = 0; count < length; ++count) text += letter;
        text += "><b\n><th\n>";
        for (const Rule& rule : rules()) {
          EXPECT_EQ(scanned(rule, text), IcuRegex(rule.expression).replaceAll(text, rule.by))
              << rule.expression << " " << letter << " x " << length;
        }
      }
    }
  }
}

TEST(HtmlScanners, FindEverySpaceAtEveryPlace) {
  constexpr std::size_t length = 40;
  IcuRegex icu(R"([^\S\n]+)");
  const auto check = [&icu](std::string_view space) {
    for (std::size_t place = 0; place <= length; ++place) {
      std::string text(length, 'x');
      text.insert(place, space);
      const std::string expected = icu.replaceAll(text, " ");
      replaceMatches(text, " ", nextWideSpace);
      ASSERT_EQ(text, expected) << testing::PrintToString(space) << " at " << place;
    }
  };
  for (char32_t c = 0; c <= 0xFFFF; ++c) {
    if (!isWhiteSpace(c)) continue;
    std::string space;
    appendUtf8(space, c);
    check(space);
  }
  for (const std::string_view pair : {"  ", " \n", "\n ", "\n\n", " \t", " \u00A0", "\u3000 "}) {
    check(pair);
  }
}

// Every code point behind, before and in place of a letter.
TEST(RegexClasses, AgreeWithIcuOnEveryCodePoint) {
  IcuRegex space(R"(^\s$)"), ends(R"(^t\b)"), starts(R"(\bt$)"), s("(?i)^sx$"), st("(?i)^stx$");
  for (char32_t c = 1; c <= 0x10FFFF; ++c) {
    if (c >= 0xD800 && c <= 0xDFFF) continue;
    std::string letter;
    appendUtf8(letter, c);
    const std::string behind = "t" + letter, before = letter + "t", folded = letter + "x";
    const auto foldsTo = [&](std::string_view word) {
      return foldedMatchEnd(folded, 0, word) == folded.size();
    };
    ASSERT_EQ(skipWhiteSpace(letter, 0) > 0, c == '\n' || !space.findAll(letter).empty()) << int(c);
    ASSERT_EQ(wordEndsAt(behind, 1), !ends.findAll(behind).empty()) << int(c);
    ASSERT_EQ(wordStartsAt(before, letter.size()), !starts.findAll(before).empty()) << int(c);
    ASSERT_EQ(foldsTo("sx"), !s.findAll(folded).empty()) << int(c);
    ASSERT_EQ(foldsTo("stx"), !st.findAll(folded).empty()) << int(c);
  }
}

TEST(LooksLikeHtml, FollowsItsThreeExpressions) {
  IcuRegex known(
      R"(<(?:/?)(?:html|head|body|div|span|table|tr|td|p|br|a|img|style|script|meta|link|font|mjml)\b)");
  IcuRegex link(R"re((?i)href\s*=\s*["']?https?://)re"), tag(R"(<[a-zA-Z!/][^>\n]*>)");
  RandomText random(42);
  std::size_t html = 0;
  for (int round = 0; round < 40000; ++round) {
    const std::string text = random.of(markup, 7);
    const bool expected = !known.findAll(text).empty() || !link.findAll(text).empty() ||
                          tag.findAll(text).size() >= 2;
    html += expected;
    ASSERT_EQ(looksLikeHtml(text), expected) << testing::PrintToString(text);
  }
  EXPECT_GT(html, 5000u);
  EXPECT_LT(html, 35000u);
  EXPECT_TRUE(looksLikeHtml("see href = 'https://x"));
  EXPECT_FALSE(looksLikeHtml("<DIV> 1 < 2 href=ftp://x"));
}

TEST(HtmlToPlainText, OnePassOfTagRemovalIsAsGoodAsSixteen) {
  IcuRegex tag("<[^>]+>");
  RandomText random(43);
  for (int round = 0; round < 20000; ++round) {
    const std::string_view tokens[] = {"<", ">", "<>", "a", "\n", "<b>"};
    std::string text = random.of(tokens, 14), once = text;
    replaceMatches(once, "", nextTag);
    for (int pass = 0; pass < 16; ++pass) text = tag.replaceAll(text, "");
    ASSERT_EQ(once, text);
  }
}

// The three stages, each in ICU's engine.
std::string decodedByStages(std::string text) {
  IcuRegex numeric("&#(x[0-9a-fA-F]{1,8}|[0-9]{1,8});?"), amp("(?i)&amp;");
  const auto number = [](const std::string& match) {
    const std::string digits = match.substr(match.find('#') + 1);
    const bool hex = digits.starts_with('x');
    const unsigned long value = std::stoul(hex ? digits.substr(1) : digits, nullptr, hex ? 16 : 10);
    const bool fits = value <= 0x10FFFF && !(value >= 0xD800 && value <= 0xDFFF) &&
                      (value >= 32 || value == 9 || value == 10 || value == 13) &&
                      value != 0xFFFE && value != 0xFFFF;
    std::string character;
    if (fits) appendUtf8(character, static_cast<char32_t>(value));
    return fits ? character : match;
  };
  std::string result;
  std::size_t kept = 0;
  for (const std::string& found : numeric.findAll(text)) {
    const std::string match = found.substr(found.find(' ') + 1);
    const std::size_t place = text.find(match, kept);
    result.append(text, kept, place - kept).append(number(match));
    kept = place + match.size();
  }
  result.append(text, kept);
  result = IcuRegex("&(?:EUML|Euml);").replaceAll(result, "Ë");
  result = IcuRegex("&(?:eUML|euml|eUml);").replaceAll(result, "ë");
  for (const auto& [literal, by] : std::initializer_list<std::pair<const char*, const char*>>{
           {"&nbsp;", " "}, {"&#160;", " "}, {"&lt;", "<"}, {"&quot;", "\""}, {"&rsquo;", "’"}}) {
    result = IcuRegex("(?i)"s + literal).replaceAll(result, by);
  }
  return amp.replaceAll(result, "&");
}

TEST(DecodeHTMLEntities, MergedStagesGiveWhatThreeStagesGive) {
  constexpr std::string_view tokens[] = {"&",
                                         "&#",
                                         "&#x",
                                         "#",
                                         "x",
                                         "X",
                                         ";",
                                         ";",
                                         "38",
                                         "&#38;",
                                         "&amp;",
                                         "amp;",
                                         "&AMP;",
                                         "160",
                                         "#160;",
                                         "0",
                                         "9",
                                         "FFFE",
                                         "1F600",
                                         "D800",
                                         "0000000",
                                         "lt;",
                                         "&lt;",
                                         "&Lt",
                                         "quot;",
                                         "nbsp;",
                                         "&NBSP;",
                                         "Euml;",
                                         "&euml;",
                                         "&eUML;",
                                         "&r\u017Fquo;",
                                         "r\u017Fquo;",
                                         "zzz;",
                                         "é",
                                         " "};
  RandomText random(44);
  for (int round = 0; round < 40000; ++round) {
    const std::string text = random.of(tokens, 9);
    if (text.find("EUML") != text.npos || text.find("&Euml") != text.npos) continue;
    ASSERT_EQ(decodeHTMLEntities(text), decodedByStages(text)) << testing::PrintToString(text);
  }
}

TEST(DecodeHTMLEntities, Table) {
  const std::pair<std::string_view, std::string_view> cases[] = {
      {"&Eacute;&eacute;&EACUTE;&Oelig;", "Éééœ"},
      {"&yuml;&Yuml;&THORN;&szlig;&para;", "ÿŸÞß¶"},
      {"&amp;lt; &AMP;amp; &#38;lt;", "&lt; &amp; <"},
      {"&#X41; &#x41 &#65;&#065B", "&#X41; A AAB"},
      {"&#0; &#31; &#13;&#x110000; &#xFFFFFFFF; &#xFFFE;",
       "&#0; &#31; \r&#x110000; &#xFFFFFFFF; &#xFFFE;"},
      {"&#123456789;", "&#123456789;"},
      {"&unknown; &e; &; &copy &copy;", "&unknown; &e; &; &copy ©"},
      {"&trade;&Hellip;&emsp;&frac12;&sup2;&deg;", "™… ½²°"},
  };
  for (const auto& [text, expected] : cases) {
    EXPECT_EQ(decodeHTMLEntities(std::string(text)), expected) << text;
  }
}

// Texts dense in what one step leaves to the next.
TEST(HtmlToPlainText, StepsGiveWhatIcuGivesInTheirOrder) {
  constexpr std::string_view tokens[] = {
      "<",     ">",           "</p",     "</p>",     "</P ", "</div",  "</tr",
      "</h2",  "<br",         "<br>",    "/",        " ",    "\n",     "<b",
      "<!--",  "-->",         "<!",      "[CDATA[",  "]]>",  "<head>", "</head>",
      "<svg>", "</\u017Fvg>", "<title>", "</title>", "w",    "\u00A0", "&lt;"};
  const std::vector<Rule> all = rules();
  std::map<std::size_t, IcuRegex> steps;
  for (const std::size_t at : {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 17, 18}) {
    steps.try_emplace(at, all[at].expression);
  }
  RandomText random(47);
  for (int round = 0; round < 10000; ++round) {
    const std::string text = random.of(tokens, 24);
    std::string expected = text;
    for (auto& [at, icu] : steps) {
      if (at == 17) expected = decodeHTMLEntities(std::move(expected));
      expected = icu.replaceAll(expected, all[at].by);
    }
    trim(expected);
    ASSERT_EQ(htmlToPlainText(text), expected) << testing::PrintToString(text);
  }
}

TEST(HtmlToPlainText, Table) {
  const std::pair<std::string_view, std::string_view> cases[] = {
      {"<p>One</p><p>Two<br/>Three</p>", "One\n\nTwo\nThree"},
      {"<html><head><title>T</title></head><body>B\u00A0 \t b</body>", "B b"},
      {"a<script>x</SCRIPT >y</script>b", "a\nb"},
      {"<h1>Big</h1>small<!-- > no --> end<![CDATA[ gone ]]>", "Big\n\nsmall end"},
      {"<a href=3D\"x\">caf=C3=A9=\n!</a>", "café!"},
      {"a<br><br><br><br>b\r\nc", "a\n\nb \nc"},
      {"1 < 2 <> 3 <>", "1 3 <>"},
  };
  for (const auto& [text, expected] : cases) {
    EXPECT_EQ(htmlToPlainText(std::string(text)), expected) << text;
  }
}

TEST(QuotedPrintableResidue, FollowsItsExpressions) {
  constexpr std::string_view tokens[] = {"=", "=",  "3D", "4",   "a", "F",
                                         "g", "\r", "\n", "=C3", "é"};
  IcuRegex softBreak("=\\r?\\n"), pair("=[0-9A-Fa-f]{2}");
  RandomText random(45);
  for (int round = 0; round < 20000; ++round) {
    const std::string text = random.of(tokens, 10);
    const bool expected = text.find("=3D") != text.npos || !softBreak.findAll(text).empty() ||
                          pair.findAll(text).size() >= 4;
    ASSERT_EQ(hasQuotedPrintableResidue(text), expected) << testing::PrintToString(text);
  }
}

TEST(EncodedWords, FoundWhereTheExpressionFindsThem) {
  constexpr std::string_view tokens[] = {"=?",  "?=",    "?", "=", "B", "b",
                                         "?B?", "utf-8", "é", "-", " ", "?b?-"};
  IcuRegex word(R"(=\?([^?]+)\?([Bb])\?([^?]+)\?=)"), digits("[Bb]{4}");
  RandomText random(46);
  std::size_t words = 0;
  for (int round = 0; round < 40000; ++round) {
    const std::string text = random.of(tokens, 12);
    if (!digits.findAll(text).empty()) continue;  // the only payloads here that decode
    const std::string expected = word.replaceAll(text, "$3");
    words += expected != text;
    ASSERT_EQ(decodeEncodedWords(text), expected) << testing::PrintToString(text);
  }
  EXPECT_GT(words, 300u);
}

}  // namespace
}  // namespace halcyra
