// 1,000 and 10,000 unseen messages from a Dovecot on loopback, fetched one by one: the house's
// client and a bare C client that drops the bytes, each run in a process of its own, in turn.

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <sstream>
#include <stdexcept>

#include "bench/Corpora.h"
#include "bench/ProgramRun.h"
#include "bench/Report.h"
#include "sandbox/DovecotServer.h"

namespace halcyra::bench {
namespace {

constexpr const char* password = "plum cake";

// One fetch of a mailbox may take half as long again as the next, so the median needs many.
constexpr int rounds = 15;

struct Costs {
  std::vector<double> wall, cpu, peak;
};

/// A mailbox on the server and the command lines that read it.
struct Mailbox {
  std::string user;
  std::size_t messages;
  std::size_t bytes = 0;
  std::size_t largest = 0;
};

void fill(sandbox::DovecotServer& server, Mailbox& mailbox, const Corpus& corpus) {
  for (std::size_t i = 0; i < mailbox.messages; ++i) {
    const std::string& message = corpus.messages[i % corpus.messages.size()];
    server.deliver(mailbox.user, message);
    mailbox.bytes += message.size();
    mailbox.largest = std::max(mailbox.largest, message.size());
  }
}

// As IMAP has it: "05-Mar-2026".
std::string today() {
  const std::time_t now = std::time(nullptr);
  char text[32];
  std::strftime(text, sizeof text, "%d-%b-%Y", std::localtime(&now));
  return text;
}

class Comparison {
 public:
  Comparison(const sandbox::DovecotServer& server, const Mailbox& mailbox, const std::string& wire)
      : mailbox_(mailbox),
        wire_(wire),
        arguments_{wire, std::to_string(wire == "tls" ? server.tlsPort() : server.port()),
                   mailbox.user, password, today()} {}

  void run(int times) {
    for (int time = 0; time < times; ++time) {
      once(bare_, {HALCYRA_BENCH_FOLDER "/bare_imap_fetch"});
      once(dropping_, {HALCYRA_BENCH_FOLDER "/imap_fetch", "drop"});
      once(parsing_, {HALCYRA_BENCH_FOLDER "/imap_fetch", "parse"});
    }
  }

  void print() const {
    const std::string name = std::to_string(mailbox_.messages) + " messages, " + wire_;
    printRatio(name + ": wall", "ms", dropping_.wall, bare_.wall, 1.10);
    printRatio(name + ": CPU", "ms", dropping_.cpu, bare_.cpu, 1.5);
    printRatio(name + ": wall with parsing", "ms", parsing_.wall, bare_.wall, 1.8);
    printRatio(name + ": CPU with parsing", "ms", parsing_.cpu, bare_.cpu, 1.8);
    printPeak(name);
  }

  void printPeak(const std::string& name) const {
    printValue(name + ": peak memory with parsing", "MB", median(parsing_.peak),
               12 + 4 * static_cast<double>(mailbox_.largest) / 1e6);
  }

  std::vector<double> wallPerMessage() const {
    std::vector<double> times = dropping_.wall;
    for (double& time : times) time *= 1e3 / static_cast<double>(mailbox_.messages);
    return times;
  }

 private:
  void once(Costs& costs, std::vector<std::string> command) {
    command.insert(command.end(), arguments_.begin(), arguments_.end());
    const ProgramRun run = runProgram(command);
    std::istringstream output(run.output);
    std::size_t bytes = 0;
    double peakKilobytes = 0;
    output >> bytes >> peakKilobytes;
    if (bytes != mailbox_.bytes) throw std::runtime_error("not all messages were fetched");
    costs.wall.push_back(run.wallMilliseconds);
    costs.cpu.push_back(run.cpuMilliseconds);
    costs.peak.push_back(peakKilobytes / 1e3);
  }

  Mailbox mailbox_;
  std::string wire_;
  std::vector<std::string> arguments_;
  Costs bare_, dropping_, parsing_;
};

void run() {
  Mailbox few{.user = "few", .messages = 1'000}, many{.user = "many", .messages = 10'000};
  Mailbox heavy{.user = "heavy", .messages = 8};
  sandbox::DovecotServer server(
      {{{few.user, password}, {many.user, password}, {heavy.user, password}}, "localhost"});
  setenv("SSL_CERT_FILE", server.authorityFile().c_str(), 1);
  for (Mailbox* mailbox : {&few, &many}) fill(server, *mailbox, smallMail());
  fill(server, heavy, attachmentMail());
  // The server writes its indexes when it meets the messages first.
  for (const Mailbox& mailbox : {few, many}) Comparison(server, mailbox, "plain").run(1);
  for (const char* wire : {"plain", "tls"}) {
    Comparison small(server, few, wire), large(server, many, wire);
    // In turn, so that both sizes meet the same machine.
    for (int round = 0; round < rounds; ++round) {
      small.run(2);
      large.run(1);
    }
    small.print();
    large.print();
    printRatio(std::string("one of 10000 against one of 1000, ") + wire, "us",
               large.wallPerMessage(), small.wallPerMessage(), 1.0);
    Comparison attachments(server, heavy, wire);
    attachments.run(1);
    attachments.printPeak(std::string("8 attachments of 1 to 20 MB, ") + wire);
  }
}

}  // namespace
}  // namespace halcyra::bench

int main() {
  try {
    halcyra::bench::run();
    return 0;
  } catch (const std::exception& error) {
    std::fprintf(stderr, "imap_bench: %s\n", error.what());
    return 1;
  }
}
