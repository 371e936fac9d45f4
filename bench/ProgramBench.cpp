// The whole program: how soon it is there, and what it takes while it waits for mail.

#include <cctype>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <sstream>

#include "bench/IdleServer.h"
#include "bench/ProgramRun.h"
#include "bench/Report.h"
#include "sandbox/ChildProcess.h"
#include "sandbox/DovecotServer.h"
#include "sandbox/ProgramHome.h"
#include "sandbox/TemporaryFolder.h"

namespace halcyra::bench {
namespace {

namespace fs = std::filesystem;
using std::chrono::steady_clock;

constexpr const char* program = HALCYRA_PROGRAM;
constexpr const char* password = "plum cake";

void compareVersions() {
  std::vector<double> ours, theirs;
  for (int round = 0; round < 40; ++round) {
    ours.push_back(runProgram({program, "--version"}).wallMilliseconds);
    theirs.push_back(runProgram({"keepassxc-cli", "--version"}).wallMilliseconds);
  }
  printRatio("halcyra-cli --version against keepassxc-cli", "ms", ours, theirs, 0.5);
}

// Settings and password of a mailbox that the program shall watch.
void setUp(sandbox::ProgramHome& home, const sandbox::IMAPMailbox& mailbox) {
  home.addMailbox(mailbox);
  home.save();
  home.storeSecret("imap.password", password);
}

double milliseconds(steady_clock::duration time) {
  return std::chrono::duration<double, std::milli>(time).count();
}

double ourFirstIdle() {
  IdleServer server;
  sandbox::ProgramHome home(program);
  setUp(home, {.id = "m", .label = "Kim", .port = server.port(), .user = "kim"});
  const auto started = steady_clock::now();
  sandbox::ChildProcess monitor(home.command({"monitor"}));
  const double taken = milliseconds(server.firstIdle() - started);
  monitor.stop(std::chrono::seconds(10));
  return taken;
}

double mailnagsFirstIdle() {
  IdleServer server;
  const sandbox::TemporaryFolder folder;
  fs::create_directories(folder.path() / "config" / "mailnag");
  // Without plugins, and without a test of the network by way of a name server.
  std::ofstream(folder.path() / "config" / "mailnag" / "mailnag.cfg")
      << "[core]\nenabled_plugins =\n[account1]\nenabled = 1\nname = bench\ntype = imap\n"
      << "user = kim\nserver = 127.0.0.1\nport = " << server.port()
      << "\nssl = 0\nimap = 1\nidle = 1\nfolder = []\n";
  sandbox::ChildProcess session(
      {.arguments = {HALCYRA_BENCH_SOURCES "/mailnag_session", folder.path().string()},
       .signalAtParentsEnd = SIGTERM});
  const auto ready = [](std::string_view output) { return output.ends_with("ready\n"); };
  if (!session.waitForOutput(ready, std::chrono::seconds(30))) {
    throw std::runtime_error("no session for mailnag: " + session.errors());
  }
  const auto started = steady_clock::now();
  session.writeInput("\n");
  const double taken = milliseconds(server.firstIdle() - started);
  session.finishInput();
  session.wait(std::chrono::seconds(20));
  return taken;
}

void compareStarts() {
  std::vector<double> ours, theirs;
  for (int round = 0; round < 9; ++round) {
    ours.push_back(ourFirstIdle());
    theirs.push_back(mailnagsFirstIdle());
  }
  printRatio("start to first IDLE against mailnag", "ms", ours, theirs, 0.5);
}

// The number behind a name in a file of /proc.
double numberIn(const fs::path& file, const std::string& name) {
  std::ifstream in(file);
  for (std::string word; in >> word;) {
    double value = 0;
    if (word == name && in >> value) return value;
  }
  throw std::runtime_error(file.string() + " has no " + name);
}

struct Waiting {
  double switches = 0;
  double cpuSeconds = 0;
};

// Of all threads, so far.
Waiting waitingOf(pid_t id) {
  Waiting sum;
  const fs::path process = fs::path("/proc") / std::to_string(id);
  for (const auto& thread : fs::directory_iterator(process / "task")) {
    sum.switches += numberIn(thread.path() / "status", "voluntary_ctxt_switches:");
    // The first number is the time on a processor, in nanoseconds.
    double nanoseconds = 0;
    std::ifstream(thread.path() / "schedstat") >> nanoseconds;
    sum.cpuSeconds += nanoseconds / 1e9;
  }
  return sum;
}

void measureIdle(double seconds) {
  sandbox::DovecotServer server({{{"kim", password}}, "localhost"});
  setenv("SSL_CERT_FILE", server.authorityFile().c_str(), 1);
  sandbox::ProgramHome home(program);
  setUp(home, {.id = "m",
               .label = "Kim",
               .host = "localhost",
               .port = server.tlsPort(),
               .useTLS = true,
               .user = "kim"});
  sandbox::ChildProcess monitor(home.command({"monitor"}));
  const auto deadline = steady_clock::now() + std::chrono::seconds(20);
  while (!server.idles("kim")) {
    const bool ended = monitor.wait(std::chrono::milliseconds(50)).has_value();
    if (ended || steady_clock::now() > deadline) throw std::runtime_error(monitor.errors());
  }
  // What the start left to do is done.
  monitor.wait(std::chrono::seconds(3));
  const Waiting before = waitingOf(monitor.id());
  monitor.wait(std::chrono::milliseconds(static_cast<int>(seconds * 1e3)));
  const Waiting after = waitingOf(monitor.id());
  const fs::path rollup = fs::path("/proc") / std::to_string(monitor.id()) / "smaps_rollup";
  printValue("in IDLE over TLS: proportional memory", "MB", numberIn(rollup, "Pss:") / 1e3, 12);
  printValue("in IDLE: voluntary context switches a second", "",
             (after.switches - before.switches) / seconds, 0.5);
  printValue("in IDLE: CPU", "%", (after.cpuSeconds - before.cpuSeconds) / seconds * 100, 0.01);
  monitor.stop(std::chrono::seconds(10));
}

}  // namespace
}  // namespace halcyra::bench

int main() {
  try {
    halcyra::bench::compareVersions();
    halcyra::bench::compareStarts();
    halcyra::bench::measureIdle(60);
    return 0;
  } catch (const std::exception& error) {
    std::cerr << "program_bench: " << error.what() << "\n";
    return 1;
  }
}
