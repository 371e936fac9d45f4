// Mail made to be slow to read: for each family, 1 to 16 MB of it through ParsedMail. Time may at
// most double with the size, and 1 MB takes a tenth of a second at most.

#include <malloc.h>

#include <algorithm>
#include <cstdio>
#include <ctime>
#include <functional>
#include <limits>
#include <stdexcept>
#include <string>
#include <vector>

#include "bench/Report.h"
#include "mail/ParsedMail.h"

namespace halcyra::bench {
namespace {

constexpr std::size_t megabyte = 1'000'000;
constexpr std::size_t doublings = 4;
constexpr int rounds = 3, mostRounds = 15;
constexpr double worstRatio = 2.2;
constexpr double longestFirst = 0.1;

struct Family {
  std::string name;
  /// About so many bytes of it, whole megabytes.
  std::function<std::string(std::size_t size)> message;
};

constexpr const char* htmlHead = "Content-Type: text/html\r\n\r\n";
constexpr const char* plainHead = "Content-Type: text/plain\r\n\r\n";
constexpr const char* mixedHead = "Content-Type: multipart/mixed; boundary=b\r\n\r\n";

// An even number of pieces a megabyte, so that all sizes end alike.
std::string filled(std::string_view head, std::string_view piece, std::size_t size,
                   std::string_view end) {
  std::string text(head);
  const std::size_t pieces = megabyte / piece.size() / 2 * 2 * (size / megabyte);
  for (std::size_t count = 0; count < pieces; ++count) text += piece;
  return text.append(end);
}

Family run(std::string name, std::string head, std::string piece, std::string end = "") {
  return {std::move(name), [=](std::size_t size) { return filled(head, piece, size, end); }};
}

// `line(number)` over and over.
Family numbered(std::string name, std::string_view head, std::string (*line)(std::size_t)) {
  return {std::move(name), [=](std::size_t size) {
            std::string text(head);
            for (std::size_t number = 0; text.size() < size; ++number) text += line(number);
            return text;
          }};
}

std::string nested(std::size_t size, bool sameBoundary) {
  std::string text, end;
  for (std::size_t level = 0; text.size() + end.size() < size; ++level) {
    const std::string boundary = sameBoundary ? "b" : "b" + std::to_string(level) + "x";
    text +=
        "Content-Type: multipart/mixed; boundary=" + boundary + "\r\n\r\n--" + boundary + "\r\n";
    end += "\r\n--" + boundary + "--";
  }
  return text + "Content-Type: text/plain\r\n\r\nthe core" + end;
}

std::vector<Family> families() {
  std::vector<Family> all;
  for (const char* head : {htmlHead, plainHead}) {
    for (const std::string piece :
         {"<script>",  "<script ", "<style>",   "<style ", "<head>", "<head ", "<!--",
          "<![CDATA[", "<",        "<a",        "<a ",     "</p",    "<>",     "&#",
          "&",         "&amp;",    "a href=\"", "=",       "=\r\n",  "\r",     "x\u0301"}) {
      std::string shown = piece;
      for (char& c : shown) c = c == '\r' || c == '\n' ? '~' : c;
      all.push_back(run(shown + (head == htmlHead ? " in HTML" : " in text"), head, piece));
    }
  }
  constexpr const char* quoted = "Content-Transfer-Encoding: quoted-printable\r\n\r\n";
  all.push_back(run("= declared quoted-printable", quoted, "="));
  all.push_back(run("soft breaks", quoted, "a=\r\n"));
  all.push_back(run("=?utf-8?B? in the subject", "Subject: ", "=?utf-8?B?", "\r\n\r\nbody"));
  all.push_back(run("=?utf-8?B? in the body", plainHead, "=?utf-8?B?"));
  all.push_back(run("nearly matching boundaries", mixedHead, "\r\n--a\r\n-b\r\n--"));
  const std::string longBoundary(69, 'b');
  all.push_back(run("nearly matching long boundaries",
                    "Content-Type: multipart/mixed; boundary=b" + longBoundary + "\r\n\r\n",
                    "\r\n--" + longBoundary + "a"));
  all.push_back(run("boundary without its newline", mixedHead, "--b"));
  all.push_back(run("empty parts", mixedHead, "\r\n--b"));
  all.push_back(run("parts of one blank line", mixedHead, "\r\n--b\r\n\r\n"));
  all.push_back(run("short HTML parts", mixedHead, "\r\n--b\r\nContent-Type:text/html\r\n\r\nx"));
  all.push_back({"nested multiparts", [](std::size_t size) { return nested(size, false); }});
  all.push_back({"nested, same boundary", [](std::size_t size) { return nested(size, true); }});
  all.push_back(run("header lines", "", "X-A: b\r\n", "\r\nbody"));
  all.push_back(run("subject lines", "", "Subject: b\r\n", "\r\nbody"));
  all.push_back(run("continuation lines", "Subject: a\r\n", " b\r\n", "\r\nbody"));
  all.push_back(run("one line", plainHead, "x"));
  all.push_back(run("one line, beyond Latin", plainHead, "Σ"));
  all.push_back(run("repeated lines", plainHead, "Same line\r\n"));
  all.push_back(numbered("distinct lines", plainHead,
                         [](std::size_t number) { return std::to_string(number) + "\n"; }));
  all.push_back(numbered("distinct lines beyond Latin", plainHead,
                         [](std::size_t number) { return "Σ" + std::to_string(number) + "\n"; }));
  all.push_back(run("marks on one letter", plainHead, "\u0301"));
  all.push_back(run("base64 with a bad last byte", "Content-Transfer-Encoding: base64\r\n\r\n",
                    "QUFBQUFBQUFBQUFBQUFBQUFBQUFBQUFBQUFBQUFBQUFBQUFBQUFBQUFBQUFB\r\n", "*"));
  return all;
}

double cpuSeconds() {
  timespec now{};
  clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &now);
  return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) / 1e9;
}

double secondsFor(std::string message) {
  const double started = cpuSeconds();
  if (!ParsedMail::fromRawMessage("A", "r", 1, std::move(message))) {
    throw std::runtime_error("nothing was read");
  }
  return cpuSeconds() - started;
}

double steepest(const std::vector<double>& times) {
  double ratio = 0;
  for (std::size_t step = 1; step < times.size(); ++step) {
    ratio = std::max(ratio, times[step] / times[step - 1]);
  }
  return ratio;
}

// The fastest of several rounds for each size.
class Measured {
 public:
  explicit Measured(const Family& family) {
    for (std::size_t step = 0; step <= doublings; ++step) {
      messages_.push_back(family.message(megabyte << step));
    }
    // A busy machine makes single rounds slow; what is over in truth stays over.
    do {
      for (int round = 0; round < rounds; ++round) addRound();
      rounds_ += rounds;
    } while (!ok() && rounds_ < mostRounds);
  }

  double first() const { return least_.front(); }

  double worst() const { return steepest(least_); }

  bool ok() const { return worst() < worstRatio && first() <= longestFirst; }

 private:
  void addRound() {
    for (std::size_t step = 0; step <= doublings; ++step) {
      least_[step] = std::min(least_[step], secondsFor(messages_[step]));
    }
  }

  std::vector<std::string> messages_;
  std::vector<double> least_ =
      std::vector<double>(doublings + 1, std::numeric_limits<double>::max());
  int rounds_ = 0;
};

// How much longer the copying of as many bytes takes when they double: what a machine's caches add
// to every doubling.
double doublingOfCopies() {
  std::vector<double> least(doublings + 1, std::numeric_limits<double>::max());
  for (int round = 0; round < mostRounds; ++round) {
    for (std::size_t step = 0; step <= doublings; ++step) {
      const std::string text(megabyte << step, 'x');
      const double started = cpuSeconds();
      const std::vector<std::string> copies(3, text);
      if (copies.back() != text) throw std::runtime_error("a copy differs");
      least[step] = std::min(least[step], cpuSeconds() - started);
    }
  }
  return steepest(least);
}

/// What is worst of all families, and whose it is.
struct Worst {
  double value = 0;
  std::string family;

  void see(double other, const std::string& name) {
    if (other > value) *this = {other, name};
  }
};

// Families within both bounds have no line of their own in the table.
void run(const std::vector<Family>& all) {
  Worst doubling, longest;
  int over = 0;
  std::fprintf(stderr, "%-34s %8s     %6.2f  for comparison\n", "three copies of the bytes", "",
               doublingOfCopies());
  for (const Family& family : all) {
    const Measured measured(family);
    const double ratio = measured.worst(), first = measured.first() * 1e3;
    std::fprintf(stderr, "%-34s %8.2f ms  %6.2f  %s\n", family.name.c_str(), first, ratio,
                 measured.ok() ? "ok" : "over");
    doubling.see(ratio, family.name);
    longest.see(first, family.name);
    if (measured.ok()) continue;
    ++over;
    printValue(family.name + ": 1 MB", "ms", first, longestFirst * 1e3);
    printValue(family.name + ": doubling", "x", ratio, worstRatio);
  }
  printValue("slowest family, 1 MB: " + longest.family, "ms", longest.value, longestFirst * 1e3);
  printValue("steepest family, doubling: " + doubling.family, "x", doubling.value, worstRatio);
  printValue("families over, of " + std::to_string(all.size()), "", over, 0);
}

}  // namespace
}  // namespace halcyra::bench

// With an argument, only the families whose names begin with it.
int main(int count, char** argument) {
  try {
    // Memory stays with the program: what the system takes to hand it out anew is not measured.
    mallopt(M_MMAP_THRESHOLD, 1 << 30);
    mallopt(M_TRIM_THRESHOLD, 1 << 30);
    std::vector<halcyra::bench::Family> families = halcyra::bench::families();
    const std::string_view wanted = count > 1 ? argument[1] : "";
    std::erase_if(families, [&](const auto& family) { return !family.name.starts_with(wanted); });
    halcyra::bench::run(families);
    return 0;
  } catch (const std::exception& error) {
    std::fprintf(stderr, "family_bench: %s\n", error.what());
    return 1;
  }
}
