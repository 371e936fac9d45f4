// One message of 20 KB over TLS to a submission server on loopback: SMTPClient in a running process
// and msmtp, in turn. Prints the medians.

#include <algorithm>
#include <boost/asio/io_context.hpp>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iostream>

#include "mail/SMTPClient.h"
#include "platform/linux/SocketConnector.h"
#include "sandbox/ChildProcess.h"
#include "sandbox/SubmissionServer.h"
#include "sandbox/TemporaryFolder.h"

namespace halcyra {
namespace {

using Milliseconds = std::chrono::duration<double, std::milli>;

constexpr int rounds = 50;
constexpr const char* user = "robin@x.org";
constexpr const char* password = "plum cake";

struct NoLog : Log {
  void write(const std::string&, const LogFields&) override {}
};

std::string message() {
  std::string text = "From: robin@x.org\r\nTo: ann@y.org\r\nSubject: Bench\r\n\r\n";
  while (text.size() < 20'000) text += "A line of an ordinary message, as people write them.\r\n";
  return text;
}

template <class Send>
double timed(Send send) {
  const auto started = std::chrono::steady_clock::now();
  send();
  return Milliseconds(std::chrono::steady_clock::now() - started).count();
}

void sendOurselves(std::uint16_t port) {
  boost::asio::io_context context;
  SocketConnector connector(context.get_executor());
  NoLog log;
  SMTPClient client(connector, log);
  std::exception_ptr failure;
  boost::asio::co_spawn(context,
                        client.send({.host = "localhost",
                                     .port = port,
                                     .implicitTLS = true,
                                     .username = user,
                                     .password = password,
                                     .from = user,
                                     .to = "ann@y.org",
                                     .message = message()}),
                        [&](std::exception_ptr error) { failure = error; });
  context.run();
  if (failure) std::rethrow_exception(failure);
}

void sendWithMsmtp(const std::string& settings) {
  sandbox::ChildProcess program({{"msmtp", "-C", settings, "--", "ann@y.org"}});
  program.finishInput(message());
  const auto ending = program.wait(std::chrono::seconds(20));
  if (!ending || ending->status != 0) throw std::runtime_error("msmtp: " + program.errors());
}

std::string writeSettings(const sandbox::TemporaryFolder& folder,
                          const sandbox::SubmissionServer& server) {
  const std::string file = (folder.path() / "msmtprc").string();
  std::ofstream(file) << "account default\nhost localhost\nport " << server.tlsPort()
                      << "\nauth login\nuser " << user << "\npassword " << password << "\nfrom "
                      << user << "\ntls on\ntls_starttls off\ntls_trust_file "
                      << server.authorityFile().string() << "\n";
  chmod(file.c_str(), 0600);
  return file;
}

double median(std::vector<double> times) {
  std::ranges::sort(times);
  return times[times.size() / 2];
}

void run() {
  sandbox::SubmissionServer server({{{user, password}}, "localhost"});
  setenv("SSL_CERT_FILE", server.authorityFile().c_str(), 1);
  const sandbox::TemporaryFolder folder;
  const std::string settings = writeSettings(folder, server);
  std::vector<double> ours, theirs;
  for (int round = 0; round < rounds; ++round) {
    ours.push_back(timed([&] { sendOurselves(server.tlsPort()); }));
    theirs.push_back(timed([&] { sendWithMsmtp(settings); }));
  }
  if (server.received().size() != 2 * rounds) throw std::runtime_error("messages are missing");
  std::printf("one message of 20 KB over TLS, median of %d\n", rounds);
  std::printf("  SMTPClient, connection and all   %7.2f ms\n", median(ours));
  std::printf("  msmtp, process start and all     %7.2f ms\n", median(theirs));
  std::printf("  ratio                            %7.2f\n", median(ours) / median(theirs));
}

}  // namespace
}  // namespace halcyra

int main() {
  try {
    halcyra::run();
    return 0;
  } catch (const std::exception& error) {
    std::cerr << "smtp_bench: " << error.what() << "\n";
    return 1;
  }
}
