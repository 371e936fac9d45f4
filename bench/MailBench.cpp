// From raw bytes to text: ParsedMail and a C program on GMime 3 and libxml2, in turn over the same
// messages, and the peak memory of each in a process of its own.

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <stdexcept>

#include "bench/Corpora.h"
#include "bench/ReferenceReader.h"
#include "bench/Report.h"
#include "mail/ParsedMail.h"
#include "sandbox/ChildProcess.h"
#include "sandbox/TemporaryFolder.h"
#include "text/Utf8.h"

namespace halcyra::bench {
namespace {

constexpr int rounds = 9;

std::size_t readOurselves(std::string message) {
  // As it comes from a server, which may send any bytes.
  const auto mail = ParsedMail::fromRawMessage("A", "r", 1, repairedUtf8(std::move(message)));
  return mail ? mail->bodyText.size() : 0;
}

std::size_t readByReference(std::string message) {
  return reference_read(message.data(), message.size());
}

// Each message has just arrived when its reading begins.
template <class Reader>
double milliseconds(const Corpus& corpus, Reader reader) {
  std::chrono::duration<double, std::milli> passed{};
  for (const std::string& message : corpus.messages) {
    std::string arrived = message;
    const auto started = std::chrono::steady_clock::now();
    const std::size_t read = reader(std::move(arrived));
    passed += std::chrono::steady_clock::now() - started;
    if (read == 0) throw std::runtime_error("nothing was read");
  }
  return passed.count();
}

// Of this program in KB. What getrusage tells counts from before it was started.
long peakMemory() {
  std::ifstream status("/proc/self/status");
  for (std::string word; status >> word;) {
    long kilobytes = 0;
    if (word == "VmHWM:" && status >> kilobytes) return kilobytes;
  }
  throw std::runtime_error("the peak memory is unknown");
}

// What reading a message adds to the peak memory of this process, in KB. The message itself is
// there before.
long growth(const std::string& reader, const std::string& file) {
  std::string message(std::filesystem::file_size(file), '\0');
  std::ifstream(file).read(message.data(), static_cast<std::streamsize>(message.size()));
  const long before = peakMemory();
  if (reader == "ours") {
    readOurselves(std::move(message));
  } else {
    readByReference(std::move(message));
  }
  return std::max(0L, peakMemory() - before);
}

void compare(const Corpus& corpus, double goal) {
  std::vector<double> ours, theirs;
  for (int round = 0; round < rounds; ++round) {
    ours.push_back(milliseconds(corpus, readOurselves));
    theirs.push_back(milliseconds(corpus, readByReference));
  }
  char measure[64];
  std::snprintf(measure, sizeof measure, "raw message to text: %s, %.0f MB", corpus.name.c_str(),
                static_cast<double>(corpus.bytes()) / 1e6);
  printRatio(measure, "ms", ours, theirs, goal);
}

// A fresh process each, since one that read other mail before has memory to spare.
double growthInOwnProcess(const std::string& reader, const std::string& file) {
  sandbox::ChildProcess program({{"/proc/self/exe", reader, file}});
  const auto ending = program.wait(std::chrono::seconds(60));
  if (!ending || ending->status != 0) throw std::runtime_error(program.errors());
  return std::stod(program.output()) / 1e3;
}

void comparePeaks(const std::string& message) {
  const sandbox::TemporaryFolder folder;
  const std::string file = (folder.path() / "largest.eml").string();
  std::ofstream(file) << message;
  char measure[64];
  std::snprintf(measure, sizeof measure, "peak memory of a message of %.0f MB, beside it",
                static_cast<double>(message.size()) / 1e6);
  printRatio(measure, "MB", {growthInOwnProcess("ours", file)},
             {growthInOwnProcess("reference", file)}, 1);
}

void run() {
  compare(smallMail(), 0.50);
  compare(htmlMail(), 0.60);
  const Corpus attachments = attachmentMail();
  compare(attachments, 0.40);
  comparePeaks(attachments.messages.back());
}

}  // namespace
}  // namespace halcyra::bench

int main(int argc, char** argv) {
  reference_start();
  try {
    if (argc == 3) {
      std::printf("%ld", halcyra::bench::growth(argv[1], argv[2]));
    } else {
      halcyra::bench::run();
    }
    return 0;
  } catch (const std::exception& error) {
    std::fprintf(stderr, "mail_bench: %s\n", error.what());
    return 1;
  }
}
