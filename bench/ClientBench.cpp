// What a hostile server, model or calendar may send: each family in growing sizes. Doubling the
// size at most doubles the time, and 1 MB takes at most 0.1 s.

#include <algorithm>
#include <ctime>
#include <functional>
#include <iostream>
#include <limits>

#include "bench/Report.h"
#include "classification/ClassificationReply.h"
#include "crm/CalendarReplies.h"
#include "mail/IMAPError.h"
#include "mail/IMAPExchange.h"
#include "mail/IMAPReader.h"
#include "mail/SMTPReply.h"
#include "text/Json.h"

namespace halcyra::bench {
namespace {

constexpr std::size_t megabyte = 1u << 20;
constexpr std::size_t largest = 16 * megabyte;
constexpr int rounds = 7, mostRounds = 28;
constexpr double worstRatio = 2.2;
// A shorter time says more about caches and the clock than about the reading.
constexpr double shortest = 5;  // ms

std::string repeated(std::string_view piece, std::size_t size) {
  std::string text;
  while (text.size() < size) text += piece;
  return text;
}

// All units of what an IMAP server said, arriving in chunks.
std::vector<std::string> imapUnits(std::string_view bytes, std::size_t chunk) {
  IMAPReader reader;
  std::vector<std::string> units;
  for (;;) {
    while (std::optional<std::string> unit = reader.nextUnit()) units.push_back(std::move(*unit));
    if (bytes.empty()) return units;
    const std::span<char> room = reader.room();
    const std::size_t count = std::min({chunk, room.size(), bytes.size()});
    std::copy_n(bytes.begin(), count, room.begin());
    bytes.remove_prefix(count);
    reader.arrived(count);
  }
}

std::size_t smtpLines(std::string_view bytes, std::size_t chunk) {
  SMTPReplyReader reader;
  std::size_t lines = 0;
  for (;;) {
    while (reader.nextLine()) ++lines;
    if (bytes.empty()) return lines;
    const std::span<char> room = reader.room();
    const std::size_t count = std::min({chunk, room.size(), bytes.size()});
    std::copy_n(bytes.begin(), count, room.begin());
    bytes.remove_prefix(count);
    reader.arrived(count);
  }
}

bool refused(const std::function<void()>& read) {
  try {
    read();
  } catch (const std::exception&) {
    return true;
  }
  return false;
}

/// Input of a size, and its reading; false when it did not come to what it should.
struct Family {
  const char* name;
  std::function<std::string(std::size_t)> input;
  std::function<bool(const std::string&)> read;
};

constexpr std::size_t wholeChunks = IMAPReader::largestRoom;

std::string failureText(const std::string& text) {
  return imapFailureText(imapUnits(text, wholeChunks), {"a secret", "another \\secret"});
}

std::string literal(std::size_t size) {
  return "* 1 FETCH (BODY[] {" + std::to_string(size) + "}\r\n" + std::string(size, 'm') + ")\r\n";
}

// In lines of a quarter of a megabyte, since longer ones than one are refused.
std::string capabilities(std::size_t size) {
  return repeated("* CAPABILITY" + repeated(" AUTH=X", megabyte / 4) + "\r\n", size);
}

std::string helloReply(std::size_t size) {
  return repeated("250-" + repeated("AUTH X ", SMTPReplyReader::longestLine / 2) + "\r\n", size);
}

// Nested as deep as the size allows, closed again.
std::string nested(std::string_view opener, std::string_view closer, std::size_t size) {
  const std::size_t half = size / 2;
  return repeated(opener, half) + repeated(closer, half);
}

std::vector<Family> families() {
  return {
      {"literal in chunks of one byte", literal,
       [](const std::string& text) { return imapUnits(text, 1).size() == 2; }},
      {"literal in large chunks", literal,
       [](const std::string& text) { return imapUnits(text, wholeChunks).size() == 2; }},
      {"untagged lines",
       [](std::size_t size) {
         return repeated("* " + std::string(120, '7') + " EXISTS\r\n", size);
       },
       [](const std::string& text) {
         return imapSearchResult(imapUnits(text, wholeChunks)).empty();
       }},
      {"untagged lines of a refused command",
       [](std::size_t size) {
         return repeated("* " + std::string(120, '7') + " EXISTS\r\n", size);
       },
       [](const std::string& text) { return failureText(text).ends_with(" EXISTS"); }},
      {"escapes in the answer to a refused command",
       [](std::size_t size) {
         return repeated("* " + repeated("%252541&amp;#65;", megabyte / 2) + "\r\n", size);
       },
       [](const std::string& text) { return failureText(text).ends_with("#65;"); }},
      {"capabilities of an IMAP server", capabilities,
       [](const std::string& text) { return imapUnits(text, 1).size() >= 4; }},
      {"UIDs of a search",
       [](std::size_t size) {
         return repeated("* SEARCH" + repeated(" 4294967295", megabyte / 2) + "\r\n", size);
       },
       [](const std::string& text) {
         return !imapSearchResult(imapUnits(text, wholeChunks)).empty();
       }},
      {"capabilities of an SMTP server", helloReply,
       [](const std::string& text) { return smtpLines(text, 1) >= 16; }},
      {"agenda of nested lists",
       [](std::size_t size) { return "{\"items\":" + nested("[", "]", size) + "}"; },
       [](const std::string& text) { return refused([&] { googleEvents(text, "c", 100); }); }},
      {"agenda with deep text in a value",
       [](std::size_t size) { return R"({"value":[],"x":")" + nested("[{", "}]", size) + "\"}"; },
       [](const std::string& text) { return microsoftEvents(text, "c", 100).empty(); }},
      {"model answer of nested objects",
       [](std::size_t size) { return nested("{\"a\":", "}", size) + "}"; },
       [](const std::string& text) { return refused([&] { parseClassificationReply(text); }); }},
      {"model answer of nested lists in prose",
       [](std::size_t size) { return "Sure! {" + nested("[", "]", size) + "} Done."; },
       [](const std::string& text) { return refused([&] { parseClassificationReply(text); }); }},
      {"model answer of fences", [](std::size_t size) { return repeated("```json\n", size); },
       [](const std::string& text) { return refused([&] { parseClassificationReply(text); }); }},
  };
}

// CPU time, since others use this machine too.
double cpuMilliseconds() {
  timespec time{};
  clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &time);
  return static_cast<double>(time.tv_sec) * 1e3 + static_cast<double>(time.tv_nsec) / 1e6;
}

double timed(const Family& family, const std::string& text) {
  const double started = cpuMilliseconds();
  if (!family.read(text)) throw std::runtime_error(std::string(family.name) + " was read wrongly");
  return cpuMilliseconds() - started;
}

void measure(const Family& family) {
  std::vector<std::string> texts;
  for (std::size_t size = megabyte; size <= largest; size *= 2) texts.push_back(family.input(size));
  // What else the machine does only adds to a time, so the shortest counts.
  std::vector<double> best(texts.size(), std::numeric_limits<double>::max());
  double worst = 0;
  for (int round = 0; round < rounds || (worst > worstRatio && round < mostRounds); ++round) {
    for (std::size_t i = 0; i < texts.size(); ++i) {
      best[i] = std::min(best[i], timed(family, texts[i]));
    }
    worst = 0;
    for (std::size_t i = 1; i < best.size(); ++i) {
      if (best[i - 1] >= shortest) worst = std::max(worst, best[i] / best[i - 1]);
    }
  }
  printValue(std::string(family.name) + ": 1 MB", "ms", best.front(), 100);
  if (worst > 0) printValue(std::string(family.name) + ": doubling", "x", worst, worstRatio);
}

}  // namespace
}  // namespace halcyra::bench

int main() {
  try {
    for (const auto& family : halcyra::bench::families()) halcyra::bench::measure(family);
    return 0;
  } catch (const std::exception& error) {
    std::cerr << "client_bench: " << error.what() << "\n";
    return 1;
  }
}
