// HTML to text: the house's scanners, PCRE2 with its JIT and ICU, in turn over the same pages, with
// the same expressions in the same order. What is no expression (entities, the trim) is the house's
// code for all three.

#include <unicode/regex.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <functional>
#include <memory>
#include <stdexcept>
#include <vector>

#include "bench/Corpora.h"
#include "bench/PcreReader.h"
#include "bench/Report.h"
#include "mail/DecodeHTMLEntities.h"
#include "mail/HtmlToPlainText.h"
#include "mail/QuotedPrintable.h"
#include "text/Trim.h"

namespace halcyra::bench {
namespace {

constexpr int rounds = 9;

struct Step {
  const char* expression;
  const char* by;
};

constexpr Step blockSteps[] = {{R"((?is)<script\b[^>]*>.*?</script>)", "\n"},
                               {R"((?is)<style\b[^>]*>.*?</style>)", "\n"},
                               {R"((?is)<noscript\b[^>]*>.*?</noscript>)", "\n"},
                               {R"((?is)<template\b[^>]*>.*?</template>)", "\n"},
                               {R"((?is)<svg\b[^>]*>.*?</svg>)", "\n"},
                               {R"((?is)<head\b[^>]*>.*?</head>)", "\n"},
                               {R"((?is)<title\b[^>]*>.*?</title>)", "\n"},
                               {R"((?i)<br\s*/?>)", "\n"},
                               {R"((?i)</p\s*>)", "\n\n"},
                               {R"((?i)</div\s*>)", "\n"},
                               {R"((?i)</tr\s*>)", "\n"},
                               {R"((?i)</h[1-6]\s*>)", "\n\n"},
                               {R"(<!--[\s\S]*?-->)", ""},
                               {R"((?i)<!\[CDATA\[[\s\S]*?\]\]>)", "\n"}};
constexpr Step tagStep = {"<[^>]+>", ""};
constexpr int tagPasses = 16;
constexpr Step blankSteps[] = {{"\n{3,}", "\n\n"}, {R"([^\S\n]+)", " "}};

// What an engine has to offer: a compiled step that rewrites its kind of text.
class PcreEngine {
 public:
  using Text = std::string;

  explicit PcreEngine(const Step& step) : by_(step.by), expression_(pcre_open(step.expression)) {
    if (!expression_) throw std::runtime_error(std::string("PCRE2 refuses ") + step.expression);
  }

  void replaceAll(Text& text) {
    room_.resize(text.size() + 64);  // no step makes a text longer
    const std::size_t size =
        pcre_replace(expression_.get(), by_, text.data(), text.size(), room_.data(), room_.size());
    if (size > room_.size()) throw std::runtime_error("PCRE2 gave up");
    room_.resize(size);
    std::swap(text, room_);
  }

  static Text fromUtf8(const std::string& text) { return text; }
  static std::string utf8(Text text) { return text; }

 private:
  struct Close {
    void operator()(pcre_expression* expression) const { pcre_close(expression); }
  };

  const char* by_;
  std::unique_ptr<pcre_expression, Close> expression_;
  std::string room_;
};

class IcuEngine {
 public:
  using Text = icu::UnicodeString;

  explicit IcuEngine(const Step& step)
      : by_(step.by),
        matcher_(
            std::make_unique<icu::RegexMatcher>(icu::UnicodeString(step.expression), 0, status_)) {}

  void replaceAll(Text& text) {
    matcher_->setTimeLimit(100'000, status_);
    matcher_->reset(text);
    Text result = matcher_->replaceAll(by_, status_);
    if (U_FAILURE(status_)) throw std::runtime_error("ICU gave up");
    text = std::move(result);
  }

  static Text fromUtf8(const std::string& text) { return icu::UnicodeString::fromUTF8(text); }
  static std::string utf8(const Text& text) {
    std::string result;
    return text.toUTF8String(result);
  }

 private:
  UErrorCode status_ = U_ZERO_ERROR;
  icu::UnicodeString by_;
  std::unique_ptr<icu::RegexMatcher> matcher_;
};

template <class Engine>
class Expressions {
 public:
  Expressions() : tags_(tagStep) {
    for (const Step& step : blockSteps) blocks_.emplace_back(step);
    for (const Step& step : blankSteps) blanks_.emplace_back(step);
  }

  std::string plainText(const std::string& page) {
    typename Engine::Text text = Engine::fromUtf8(page);
    for (Engine& step : blocks_) step.replaceAll(text);
    for (int pass = 0; pass < tagPasses; ++pass) {
      const typename Engine::Text before = text;
      tags_.replaceAll(text);
      if (text == before) break;
    }
    text = Engine::fromUtf8(decodeHTMLEntities(Engine::utf8(std::move(text))));
    for (Engine& step : blanks_) step.replaceAll(text);
    std::string result = Engine::utf8(std::move(text));
    trim(result);
    return result;
  }

 private:
  std::vector<Engine> blocks_;
  Engine tags_;
  std::vector<Engine> blanks_;
};

using Reader = std::function<std::string(const std::string&)>;

double differing(const std::vector<std::string>& pages, const Reader& one, const Reader& other) {
  return static_cast<double>(std::ranges::count_if(
      pages, [&](const std::string& page) { return one(page) != other(page); }));
}

double milliseconds(const std::vector<std::string>& pages, const Reader& read) {
  const auto started = std::chrono::steady_clock::now();
  for (const std::string& page : pages) {
    if (read(page).empty()) throw std::runtime_error("nothing was read");
  }
  const std::chrono::duration<double, std::milli> passed =
      std::chrono::steady_clock::now() - started;
  return passed.count();
}

std::vector<std::string> pagesToRead() {
  std::vector<std::string> pages = newsletters().messages;
  // What a page has of quoted-printable is undone before any expression is tried.
  for (std::string& page : pages) {
    while (hasQuotedPrintableResidue(page)) page = decodeQuotedPrintable(std::move(page), "");
  }
  return pages;
}

void run() {
  const std::vector<std::string> pages = pagesToRead();
  Expressions<PcreEngine> pcreExpressions;
  Expressions<IcuEngine> icuExpressions;
  const Reader ours = [](const std::string& page) { return htmlToPlainText(page); };
  const Reader pcre = [&](const std::string& page) { return pcreExpressions.plainText(page); };
  const Reader icu = [&](const std::string& page) { return icuExpressions.plainText(page); };

  std::vector<double> ourTimes, pcreTimes, icuTimes;
  for (int round = 0; round < rounds; ++round) {
    ourTimes.push_back(milliseconds(pages, ours));
    pcreTimes.push_back(milliseconds(pages, pcre));
    if (round < 3) icuTimes.push_back(milliseconds(pages, icu));
  }
  printRatio("HTML step, beside PCRE2 with JIT", "ms", ourTimes, pcreTimes, 1.0 / 2);
  printRatio("HTML step, beside ICU", "ms", ourTimes, icuTimes, 1.0 / 12);
  printValue("pages whose text differs from PCRE2's", "", differing(pages, ours, pcre), 0);
  printValue("pages whose text differs from ICU's", "", differing(pages, ours, icu), 0);
}

}  // namespace
}  // namespace halcyra::bench

int main() {
  try {
    halcyra::bench::run();
    return 0;
  } catch (const std::exception& error) {
    std::fprintf(stderr, "html_bench: %s\n", error.what());
    return 1;
  }
}
