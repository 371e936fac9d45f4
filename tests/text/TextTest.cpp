#include <gtest/gtest.h>
#include <unicode/brkiter.h>

#include <set>

#include "support/IcuRegex.h"
#include "support/RandomText.h"
#include "text/Base64.h"
#include "text/ByteDecoding.h"
#include "text/Case.h"
#include "text/Graphemes.h"
#include "text/Json.h"
#include "text/PercentEncoding.h"
#include "text/Scan.h"
#include "text/SecretHash.h"
#include "text/Trim.h"
#include "text/Utf8.h"
#include "text/Uuid.h"
#include "text/WithoutSecrets.h"

namespace halcyra {
namespace {

using namespace std::literals;

constexpr std::string_view clusters[] = {
    "a",          "b",      "=",      "\r",     "\n",     "\r\n",   " ",      "é",
    "\u0301",     "\u200D", "\u0600", "\u0903", "क",      "\u094D", "👩",      "👨‍👩‍👧",
    "🇩",          "🇪",      "\u1100", "\u1161", "\u11A8", "\u00AD", "\uFE0F", "\U0001F3FD",
    "\U000E0020", "\u2028"};

// Byte offsets of the breaks between characters, by ICU on UTF-16.
std::vector<std::size_t> icuBreaks(const std::string& text) {
  UErrorCode status = U_ZERO_ERROR;
  const std::unique_ptr<icu::BreakIterator> iterator(
      icu::BreakIterator::createCharacterInstance(icu::Locale::getRoot(), status));
  const icu::UnicodeString wide = unicode(text);
  iterator->setText(wide);
  std::vector<std::size_t> breaks;
  for (int32_t place = iterator->first(); place != icu::BreakIterator::DONE;
       place = iterator->next()) {
    breaks.push_back(utf8(wide.tempSubString(0, place)).size());
  }
  return breaks;
}

TEST(Graphemes, CountAndCutWhereIcuBreaks) {
  RandomText random(1);
  for (int round = 0; round < 20000; ++round) {
    const std::string text = random.of(clusters, 12);
    const std::vector<std::size_t> breaks = icuBreaks(text);
    ASSERT_EQ(graphemeCount(text), breaks.size() - 1) << testing::PrintToString(text);
    for (std::size_t count = 0; count < breaks.size(); ++count) {
      ASSERT_EQ(graphemePrefix(text, count).size(), breaks[count]) << testing::PrintToString(text);
      ASSERT_EQ(hasMoreGraphemesThan(text, count), count + 1 < breaks.size());
    }
    const std::set<std::size_t> places(breaks.begin(), breaks.end());
    for (std::size_t at = 0; (at = text.find('=', at)) != text.npos; ++at) {
      ASSERT_EQ(isWholeCharacter(text, at, at + 1), places.contains(at) && places.contains(at + 1))
          << testing::PrintToString(text);
    }
  }
}

// The letters that are counted and lower-cased without ICU.
TEST(Text, EachLetterOfTheCommonScriptsIsTakenAsIcuTakesIt) {
  for (char32_t c = 0x80; c < 0x20000; ++c) {
    if (c >= 0xD800 && c <= 0xDFFF) continue;
    std::string letter;
    appendUtf8(letter, c);
    const std::string text = "I" + letter + letter + "A";
    ASSERT_EQ(graphemeCount(text), icuBreaks(text).size() - 1)
        << "U+" << std::hex << std::uint32_t{c};
    ASSERT_EQ(lowercased(text), utf8(unicode(text).toLower(icu::Locale::getRoot())))
        << "U+" << std::hex << std::uint32_t{c};
  }
}

TEST(Graphemes, ThousandsOfCombiningMarksAreOneCharacter) {
  std::string text = "x";
  for (int mark = 0; mark < 100'000; ++mark) text += "\u0301";
  EXPECT_EQ(graphemeCount(text + "\r\n"), 2u);
  EXPECT_EQ(graphemePrefix(text + "\r\nz", 2).size(), text.size() + 2);
}

TEST(Utf8, RepairsAsIcuDoes) {
  constexpr std::string_view bytes[] = {"a",
                                        "longer ascii run",
                                        "\x80",
                                        "\xBF",
                                        "\xC0",
                                        "\xC2",
                                        "\xC3\xA9",
                                        "\xE0",
                                        "\xE0\xA0",
                                        "\xE2\x82",
                                        "\xED",
                                        "\xED\xA0",
                                        "\xEF\xBF\xBD",
                                        "\xF0",
                                        "\xF0\x90\x80",
                                        "\xF0\x9F\x98\x80",
                                        "\xF4\x90",
                                        "\xF5",
                                        "\xFF",
                                        "\x9F"};
  RandomText random(2);
  for (int round = 0; round < 30000; ++round) {
    const std::string raw = random.of(bytes, 8);
    const std::string expected = utf8(unicode(raw));
    ASSERT_EQ(repairedUtf8(raw), expected) << testing::PrintToString(raw);
    ASSERT_EQ(isValidUtf8(raw), raw == expected) << testing::PrintToString(raw);
  }
}

TEST(Utf8, EveryCodePointSurvivesTheRoundTrip) {
  for (char32_t c = 0; c <= 0x10FFFF; ++c) {
    if (c >= 0xD800 && c <= 0xDFFF) continue;
    std::string text = "x";
    appendUtf8(text, c);
    std::size_t position = 1;
    ASSERT_TRUE(isValidUtf8(text));
    ASSERT_EQ(nextCodePoint(text, position), c);
    ASSERT_EQ(position, text.size());
    ASSERT_EQ(codePointStart(text, text.size() - 1), 1u);
  }
}

TEST(Base64, Table) {
  const std::pair<std::string, std::optional<std::string>> cases[] = {{"", ""},
                                                                      {"Zg==", "f"},
                                                                      {"Zm8=", "fo"},
                                                                      {"Zm9v", "foo"},
                                                                      {"AP+/", "\0\xFF\xBF"s},
                                                                      {"Zg=", std::nullopt},
                                                                      {"Zg", std::nullopt},
                                                                      {"Z===", std::nullopt},
                                                                      {"====", std::nullopt},
                                                                      {"Zg==Zg==", std::nullopt},
                                                                      {"Zm 9", std::nullopt},
                                                                      {"Zm9\n", std::nullopt},
                                                                      {"Zm-_", std::nullopt},
                                                                      {"Zm\xC3\xA9", std::nullopt}};
  for (const auto& [text, bytes] : cases) {
    EXPECT_EQ(decodeBase64(text), bytes) << text;
    if (bytes) {
      EXPECT_EQ(encodeBase64(*bytes), text);
    }
  }
  RandomText random(3);
  for (int round = 0; round < 1000; ++round) {
    std::string bytes(random.below(40), '\0');
    for (char& byte : bytes) byte = static_cast<char>(random.below(256));
    ASSERT_EQ(decodeBase64(encodeBase64(bytes)), bytes);
  }
}

TEST(DecodeBytes, Utf8ThenWindows1252ThenLatin1) {
  EXPECT_EQ(decodeBytes("caf\xC3\xA9", "windows-1252"), "café");
  EXPECT_EQ(decodeBytes("\x80 caf\xE9", "WINDOWS-1250"), "€ café");
  EXPECT_EQ(decodeBytes("\x80 caf\xE9", "cp1252"), "€ café");
  EXPECT_EQ(decodeBytes("\x80 caf\xE9", "koi8-r"), "\u0080 café");
  for (const char gap : {'\x81', '\x8D', '\x8F', '\x90', '\x9D'}) {
    EXPECT_EQ(decodeBytes("\x93"s + gap, "windows-1252").substr(0, 2), "\u0093") << int{gap};
  }
  std::string all, expected;
  for (int byte = 0x82; byte < 0x100; ++byte) {
    if (byte == 0x8D || byte == 0x8F || byte == 0x90 || byte == 0x9D) continue;
    all += static_cast<char>(byte);
  }
  icu::UnicodeString wide(all.data(), static_cast<int32_t>(all.size()), "windows-1252");
  EXPECT_EQ(decodeBytes(all, "windows-1252"), utf8(wide));
}

TEST(Trim, TakesUnicodeWhiteSpace) {
  EXPECT_EQ(trimmed("\u00A0\r\n\t x y\u2003\u3000\v"), "x y");
  EXPECT_EQ(trimmed("\u200Bx\uFEFF"), "\u200Bx\uFEFF");
  EXPECT_EQ(trimmed(" \u2028 "), "");
  EXPECT_EQ(trimmedOf(" \tx\u00A0\t", " \t"), "x\u00A0");
  std::string text = "\u2003 é ";
  trim(text);
  EXPECT_EQ(text, "é");
}

TEST(Json, NestingIsBoundedAndFaultsArePlaced) {
  const auto nested = [](int depth) { return std::string(depth, '[') + std::string(depth, ']'); };
  EXPECT_TRUE(parseJson(nested(512)).is_array());
  const std::pair<std::string, std::string> faults[] = {
      {nested(513), "JSON is nested more than 512 deep at line 1, column 513."},
      {std::string(1'000'000, '['), "JSON is nested more than 512 deep at line 1, column 513."},
      {"{\n  \"a\": x}", "Not valid JSON at line 2, column 8."},
      {"[1] 2", "Not valid JSON at line 1, column 5."},
      {"[" + std::string(1'000'000, ',') + "]",
       "JSON has too many values at line 1, column 1000001."},
      {"1e999", "Not valid JSON: a number is out of range."},
      {"", "Not valid JSON at line 1, column 1."},
      {"\"\xFF\"", "Not valid JSON at line 1, column 2."}};
  for (const auto& [text, message] : faults) {
    try {
      parseJson(text);
      ADD_FAILURE() << text.substr(0, 20);
    } catch (const JsonError& error) {
      EXPECT_EQ(error.what(), message);
    }
  }
  EXPECT_EQ(parseJson("{\"a\":1,\"a\":\"" + std::string(600, '[') + "\\\"[\"}")["a"].type(),
            nlohmann::json::value_t::string);
  EXPECT_EQ(jsonText("\xFF"s), "\"\uFFFD\"");
}

TEST(WithoutSecrets, FindsThemHoweverTheyAreWritten) {
  const std::vector<std::string> secrets = {"ya29.a+b/c==", "ya29", "", "pw d"};
  const std::pair<std::string, std::string> cases[] = {
      {"<ya29.a+b/c==ya29.a+b/c== pw d ya29>", "<****** *** ***>"},
      {"ya29.a b/c== pw+d, ya29.a%2Bb%2fc%3D%3d", "*** ***, ***"},
      {R"("ya29.a\u002Bb\/c\u003D=",'\x79a29')", R"("***",'***')"},
      {"ya29.a&#43;b&#x2F;c&equals;&#61; &amp;ya29&lt;", "*** &amp;***&lt;"},
      {R"(ya29.a%252Bb%25252Fc%3D= ya29.a\u0026#43;b\\/c==)", "*** ***"},
      {encodeBase64("ya29.a+b/c=="), "***"},
      {"1" + encodeBase64("xya29.a+b/c==x").substr(0, 18), "1eH***X"},
      {encodeBase64("Bearer ya29.a+b/c==\n") + "|", "QmVhcmVyIH***Qo=|"},
      {"eWEyOS5hK2IvYz0tZA", "eWEyOS5hK2IvYz0tZA"},
      {"a+b%2 &; \\u00 \\ &#999999999; %", "a+b%2 &; \\u00 \\ &#999999999; %"},
  };
  for (const auto& [text, shown] : cases) EXPECT_EQ(withoutSecrets(text, secrets), shown);

  // Each of a million places begins like the secret.
  const std::string slow[] = {std::string(100'000, 'a') + 'b'};
  const std::string text(8'000'000, 'a');
  EXPECT_EQ(withoutSecrets(text, slow), text);
}

TEST(Scan, FindsAndRewritesInPlace) {
  EXPECT_EQ(findText("aabaab", "aab", 1), 3u);
  EXPECT_EQ(findText("ab", "b", 3), std::string_view::npos);
  ForwardFinder finder("..x..x", "x");
  for (const auto& [from, found] : {std::pair{0, 2}, {2, 2}, {3, 5}, {5, 5}}) {
    EXPECT_EQ(finder.from(static_cast<std::size_t>(from)), static_cast<std::size_t>(found));
  }
  EXPECT_EQ(finder.from(6), std::string_view::npos);
  std::string text = "aaabaa";
  replaceMatches(text, "x", [](std::string_view view, std::size_t from) -> std::optional<Match> {
    const std::size_t begin = view.find("aa", from);
    if (begin == view.npos) return std::nullopt;
    return Match{begin, begin + 2};
  });
  EXPECT_EQ(text, "xabx");
}

// Text is taken in blocks, of which the last may overlap the one before it.
TEST(Text, ALetterIsMetWhereverItStandsInATextOfAnyLength) {
  for (std::size_t size = 1; size < 80; ++size) {
    const std::string plain(size, 'k');
    for (std::size_t at = 0; at < size; ++at) {
      std::string capital = plain, high = plain;
      capital[at] = 'K';
      high[at] = '\xC3';
      ASSERT_EQ(asciiLowercased(capital), plain);
      ASSERT_EQ(asciiRunEnd(high, 0), at) << size;
      ASSERT_EQ(asciiRunEnd(high, at + 1), size) << at;
    }
  }
}

TEST(Text, SmallHelpers) {
  EXPECT_EQ(lowercased("ÀÉ Straße I"), "àé straße i");
  EXPECT_EQ(asciiLowercased("ÀB"), "Àb");
  EXPECT_TRUE(equalsIgnoringAsciiCase("Message-ID", "message-id"));
  EXPECT_FALSE(equalsIgnoringAsciiCase("subject", "\u017Fubject"));
  const SecretHash hash;
  std::set<std::uint64_t> hashes;
  for (const std::string text : {"", "a", "b", "aa", "1234567", "12345678"}) {
    EXPECT_EQ(hash(text), hash(std::string(text)));
    hashes.insert(hash(text));
  }
  EXPECT_EQ(hashes.size(), 6u);
  std::set<std::uint64_t> ofOneByte;  // or none that is not 0, at each place of texts of each size
  std::size_t texts = 0;
  for (std::size_t size = 1; size <= 120; ++size) {
    for (std::size_t place = 0; place <= size; ++place, ++texts) {
      std::string text(size, '\0');
      if (place < size) text[place] = '\x80';
      ofOneByte.insert(hash(text));
    }
  }
  EXPECT_EQ(ofOneByte.size(), texts);
  std::set<std::uint64_t> buckets;  // of 4,096; a random function meets about 2,589 of them
  for (int number = 0; number < 4096; ++number) {
    buckets.insert(hash(std::to_string(number * 7)) & 4095);
  }
  EXPECT_GT(buckets.size(), 2000u);
  EXPECT_TRUE(isCanonicalUuid(newUuid()));
  EXPECT_NE(newUuid(), newUuid());
  EXPECT_FALSE(isCanonicalUuid("0123456-789AB-CDEF-0123-456789ABCDEF"));
}

TEST(TextTest, PercentEncodingOfQueriesAndForms) {
  EXPECT_EQ(percentEncoded("aZ9-._~ +/=&%é"), "aZ9-._~%20%2B%2F%3D%26%25%C3%A9");
  EXPECT_EQ(formEncoded({{"scope", "a b"}, {"q", "x&y=z"}}), "scope=a%20b&q=x%26y%3Dz");
  EXPECT_EQ(percentDecoded("%41%c3%A9%+%4%4g%FF%"), "Aé%+%4%4g\uFFFD%");
  const std::vector<QueryItem> expected = {
      {"code", "4/0 A=b"}, {"error", std::nullopt}, {"", ""}, {"", std::nullopt}, {"code", ""}};
  EXPECT_EQ(queryItems("code=4%2F0%20A=b&error&=&&code="), expected);
}

}  // namespace
}  // namespace halcyra
