// From raw bytes to text: ParsedMail and a C program on GMime 3 and libxml2, in turn over the same
// messages. Prints medians and their ratio, and the peak memory of each in a process of its own.

#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <functional>
#include <stdexcept>

#include "bench/Corpora.h"
#include "bench/ReferenceReader.h"
#include "mail/ParsedMail.h"

namespace halcyra::bench {
namespace {

constexpr int rounds = 9;

std::size_t readOurselves(std::vector<std::string> messages) {
  std::size_t read = 0;
  for (std::string& message : messages) {
    const auto mail = ParsedMail::fromRawMessage("A", "r", 1, std::move(message));
    if (mail) read += mail->bodyText.size();
  }
  return read;
}

std::size_t readByReference(const std::vector<std::string>& messages) {
  std::size_t read = 0;
  for (const std::string& message : messages) {
    read += reference_read(message.data(), message.size());
  }
  return read;
}

double seconds(const std::function<std::size_t()>& work) {
  const auto started = std::chrono::steady_clock::now();
  if (work() == 0) throw std::runtime_error("nothing was read");
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - started).count();
}

double median(std::vector<double> values) {
  std::ranges::sort(values);
  return values[values.size() / 2];
}

// Both hold one message at a time; the reader's text is part of what it needs.
long peakKilobytes(const Corpus& corpus, const std::function<void(const std::string&)>& read) {
  const auto largest = std::ranges::max_element(
      corpus.messages, {}, [](const std::string& message) { return message.size(); });
  int answer[2];
  if (pipe(answer) != 0) throw std::runtime_error("no pipe");
  const pid_t child = fork();
  if (child == 0) {
    const std::string message = *largest;
    rusage before{}, after{};
    getrusage(RUSAGE_SELF, &before);
    read(message);
    getrusage(RUSAGE_SELF, &after);
    const long grown = after.ru_maxrss - before.ru_maxrss;
    _exit(write(answer[1], &grown, sizeof grown) == sizeof grown ? 0 : 1);
  }
  long grown = -1;
  if (::read(answer[0], &grown, sizeof grown) != sizeof grown) grown = -1;
  int status = 0;
  waitpid(child, &status, 0);
  close(answer[0]);
  close(answer[1]);
  return grown;
}

void compare(const Corpus& corpus, double goal) {
  std::vector<double> ours, theirs;
  for (int round = 0; round < rounds; ++round) {
    std::vector<std::string> copies = corpus.messages;
    ours.push_back(seconds([&] { return readOurselves(std::move(copies)); }));
    theirs.push_back(seconds([&] { return readByReference(corpus.messages); }));
  }
  const double megabytes = static_cast<double>(corpus.bytes()) / 1e6;
  std::printf("%-12s %7.1f MB  %8.0f MB/s  %8.0f MB/s  %6.2f  %6.2f\n", corpus.name.c_str(),
              megabytes, megabytes / median(ours), megabytes / median(theirs),
              median(ours) / median(theirs), goal);
}

void comparePeaks(const Corpus& corpus) {
  const long ours = peakKilobytes(
      corpus, [](const std::string& message) { ParsedMail::fromRawMessage("A", "r", 1, message); });
  const long theirs = peakKilobytes(
      corpus, [](const std::string& message) { reference_read(message.data(), message.size()); });
  std::printf("\nLargest attachment: memory grows by %ld KB, the reference's by %ld KB\n", ours,
              theirs);
}

void run() {
  reference_start();
  std::printf("Raw message to text, medians of %d rounds in turn\n\n", rounds);
  std::printf("%-12s %10s  %13s  %13s  %6s  %6s\n", "class", "size", "ParsedMail", "GMime+libxml2",
              "ratio", "goal");
  compare(smallMail(), 0.50);
  compare(htmlMail(), 0.60);
  const Corpus attachments = attachmentMail();
  compare(attachments, 0.40);
  comparePeaks(attachments);
}

}  // namespace
}  // namespace halcyra::bench

int main() {
  try {
    halcyra::bench::run();
    return 0;
  } catch (const std::exception& error) {
    std::fprintf(stderr, "mail_bench: %s\n", error.what());
    return 1;
  }
}
