#include "mail/MimeWalk.h"

#include <gtest/gtest.h>

#include <set>

#include "mail/ContentType.h"
#include "mail/Headers.h"
#include "mail/HtmlToPlainText.h"
#include "mail/TransferDecoding.h"
#include "support/RandomText.h"
#include "text/Graphemes.h"
#include "text/Trim.h"

namespace halcyra {
namespace {

using namespace std::literals;

// The walk as a plain recursion that copies and rereads everything.
std::vector<std::string> referenceParts(const std::string& body, const std::string& boundary) {
  const std::string newline = body.find("\r\n") != body.npos ? "\r\n" : "\n";
  const std::string opener = "--" + boundary;
  std::vector<std::string> parts;
  const auto keep = [&](std::string_view part) {
    if (!part.empty()) parts.emplace_back(part);
  };
  const std::size_t first = body.find(opener);
  if (first == body.npos) return parts;
  std::string rest = body.substr(first + opener.size());
  if (rest.starts_with(newline)) rest = rest.substr(newline.size());
  while (!rest.empty()) {
    if (rest.starts_with("--")) return parts;
    const std::size_t next = rest.find(newline + opener);
    if (next == rest.npos) {
      std::string_view last = trimmedOf(rest, "\r\n");
      if (last.ends_with("--")) last = trimmedOf(last.substr(0, last.size() - 2), "\r\n");
      keep(last);
      return parts;
    }
    keep(trimmedOf(rest.substr(0, next), "\r\n"));
    rest = rest.substr(next + newline.size() + opener.size());
  }
  return parts;
}

std::string referenceWalk(const std::string& headers, const std::string& body) {
  const std::string value =
      headerValue("Content-Type", headers).value_or("text/plain; charset=utf-8");
  const ContentType type = parseContentType(value);
  if (!type.mainType.starts_with("multipart/") || type.boundary.empty()) {
    const std::string text = decodeTransfer(body, transferEncoding(headers), type.charset);
    return type.isHtml() ? htmlToPlainText(text) : std::string(trimmed(text));
  }
  std::string plain, html;
  for (const std::string& part : referenceParts(body, type.boundary)) {
    const HeaderSplit split = splitHeaders(part);
    if (split.headers.empty() && trimmed(split.body).empty()) continue;
    const std::string decoded = referenceWalk(std::string(split.headers), std::string(split.body));
    if (decoded.empty()) continue;
    const std::string kind =
        parseContentType(headerValue("Content-Type", split.headers).value_or("")).mainType;
    const auto longer = [&](std::string& slot) {
      if (slot.empty() || graphemeCount(decoded) > graphemeCount(slot)) slot = decoded;
    };
    if (kind.starts_with("text/plain") || kind.empty()) {
      if (plain.empty()) plain = decoded;
    } else if (kind.starts_with("text/html")) {
      longer(html);
    } else if (kind.starts_with("multipart/")) {
      longer(plain);
    }
  }
  const std::size_t length = graphemeCount(plain);
  const bool pointer = !plain.empty() && !html.empty() && length <= 99 &&
                       graphemeCount(html) > std::max<std::size_t>(500, 8 * length);
  if (!plain.empty() && !pointer) return plain;
  if (!html.empty()) return html;
  const std::size_t first = body.find("--" + type.boundary);
  return first == body.npos ? "" : std::string(trimmed(body.substr(0, first)));
}

// Deep chains of multiparts with siblings, wrong newlines, boundaries that begin one another and
// delimiters that are cut, doubled or close twice.
class RandomMessage {
 public:
  explicit RandomMessage(unsigned seed) : random_(seed) {}

  std::string multipart(int depth) {
    const std::string boundary = anyOf({"b", "bb", "b-", "a", "a b", "aa", "b\n--b", "é"}) +
                                 (random_.below(3) ? std::to_string(depth) : "");
    std::string text = "Content-Type: multipart/" + anyOf({"mixed", "alternative"}) +
                       ";boundary=\"" + boundary + "\"" + newline() + newline();
    text += anyOf({"", "", "preamble", "x--" + boundary, newline()});
    const std::size_t parts = 1 + random_.below(2);
    for (std::size_t part = 0; part <= parts; ++part) {
      text += anyOf({newline(), newline(), ""}) + "--" + boundary +
              anyOf({newline(), newline(), newline(), "", "x", "--"});
      text += part == 0 && depth > 0 ? multipart(depth - 1) : leaf();
    }
    return text + anyOf({newline() + "--" + boundary + "--", "", "--", newline() + "--"});
  }

 private:
  std::string anyOf(std::initializer_list<std::string> choices) {
    return *(choices.begin() + static_cast<std::ptrdiff_t>(random_.below(choices.size())));
  }

  std::string newline() { return anyOf({"\n", "\n", "\n", "\n", "\n", "\n", "\n", "\r\n"}); }

  std::string leaf() {
    const std::string type = anyOf({"text/plain", "text/html", "multipart/mixed", "image/png", ""});
    const std::string headers = type.empty() ? "" : "content-type: " + type + newline() + newline();
    return headers + anyOf({"w", "words é", "<p>" + std::string(20 * random_.below(60), 'h'), "",
                            std::string(random_.below(140), 'p'), "aGk=", "--b", "\u0301\r"});
  }

  RandomText random_;
};

TEST(MimeWalk, GivesWhatThePlainRecursionGives) {
  RandomMessage random(7);
  std::set<std::string> results;
  for (int round = 0; round < 6000; ++round) {
    const std::string message = random.multipart(round % 24);
    const HeaderSplit split = splitHeaders(message);
    const std::string expected = referenceWalk(std::string(split.headers), std::string(split.body));
    ASSERT_EQ(walkMIME(split.headers, split.body), expected) << testing::PrintToString(message);
    results.insert(expected);
  }
  EXPECT_GT(results.size(), 300u);
}

// `levels` multiparts, each the first part of the one around it, with boundaries b0, b1...
std::string nested(int levels, std::string_view newline, std::string_view core) {
  std::string text;
  for (int level = 0; level < levels; ++level) {
    text += "Content-Type: multipart/mixed; boundary=b" + std::to_string(level) + "x";
    text.append(newline)
        .append(newline)
        .append("--b" + std::to_string(level) + "x")
        .append(newline);
  }
  text.append(newline).append(core);
  for (int level = levels - 1; level >= 0; --level) {
    text.append(newline).append("--b" + std::to_string(level) + "x--");
  }
  return text;
}

TEST(MimeWalk, HundredThousandLevelsEnd) {
  for (const std::string_view newline : {"\n", "\r\n"}) {
    const std::string message = nested(100'000, newline, "Content-Type: text/plain\n\nthe core");
    const HeaderSplit split = splitHeaders(message);
    EXPECT_TRUE(walkMIME(split.headers, split.body).ends_with("the core"));
    // Cut off on the way down, the innermost level has nothing but the end of a header.
    EXPECT_LT(walkMIME(split.headers, split.body.substr(0, split.body.size() / 3)).size(), 100u);
  }
}

TEST(MimeWalk, ChoosesAmongAlternatives) {
  const auto part = [](std::string_view type, std::string_view text) {
    return "--B\nContent-Type: " + std::string(type) + "\n\n" + std::string(text) + "\n";
  };
  const std::string short16(16, 's'), plain100(100, 'p'), plain99(99, 'p');
  const std::string html400(400, 'h'), html600(600, 'h'), html793(793, 'h'), html500(500, 'h');
  const std::pair<std::string, std::string> cases[] = {
      {part("text/plain", short16) + part("text/html", html600), html600},
      {part("text/plain", short16) + part("text/html", html500), short16},
      {part("text/plain", short16) + part("text/html", html400), short16},
      {part("text/plain", plain100) + part("text/html", std::string(9000, 'h')), plain100},
      {part("text/plain", plain99) + part("text/html", html793), html793},
      {part("text/plain", plain99) + part("text/html", html793.substr(1)), plain99},
      {part("text/plain", "one") + part("text/plain", "second"), "one"},
      {part("text/html", "one") + part("text/html", "longer") + part("text/html", "equals"),
       "longer"},
      {part("TEXT/Plain; charset=x", "mixed case"), "mixed case"},
      {"before\n" + part("application/pdf", "JVBERi0x"), "before"},
      {"before\n--B\n\n  \n", "before"},
      {"no delimiter", ""},
      {"in the line --B\nno headers, first line eaten\n\nkept\n--B--\nafter", "kept"},
      {part("multipart/mixed", "no boundary") + part("text/plain", "plain later"), "no boundary"},
      {part("text/plain", "unclosed") + "--", "unclosed"},
  };
  for (const auto& [body, expected] : cases) {
    EXPECT_EQ(walkMIME("Content-Type: multipart/alternative; boundary=\"B\"", body), expected)
        << body.substr(0, 60);
  }
}

TEST(ContentType, Table) {
  struct Case {
    std::string_view value, mainType, charset, boundary;
  };
  const Case cases[] = {{" Text/HTML ; Charset=\"UTF-8\"", "text/html", "UTF-8", ""},
                        {"", "", "", ""},
                        {";;;", ";;;", "", ""},
                        {" ;text/html", "", "", ""},
                        {";multipart/mixed;boundary=a=b", "multipart/mixed", "", "a=b"},
                        {"m; boundary=\"a;b\"", "m", "", "a"},
                        {"m; boundary='x'; boundary = \"y\"\"", "m", "", "y"},
                        {"m; boundary=\"; charset='\"l1\"'", "m", "l1", ""},
                        {"m; boundary='x y'; nothing", "m", "", "x y"}};
  for (const Case& c : cases) {
    const ContentType type = parseContentType(c.value);
    EXPECT_EQ(type.mainType, c.mainType) << c.value;
    EXPECT_EQ(type.charset, c.charset) << c.value;
    EXPECT_EQ(type.boundary, c.boundary) << c.value;
  }
  EXPECT_EQ(transferEncoding("content-transfer-encoding: BASE64 ; x"), "base64");
  EXPECT_EQ(transferEncoding("Content-Transfer-Encoding: ;"), "7bit");
  EXPECT_EQ(transferEncoding("X: y"), "7bit");
}

}  // namespace
}  // namespace halcyra
