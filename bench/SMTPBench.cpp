// One message of 20 KB over TLS to a Postfix on loopback: SMTPClient in a
// running program and Python's smtplib in another, in turn, with a connection for each message.

#include <boost/asio/co_spawn.hpp>
#include <boost/asio/io_context.hpp>
#include <chrono>
#include <cstdlib>
#include <fstream>
#include <iostream>
#include <thread>

#include "bench/PostfixServer.h"
#include "bench/Report.h"
#include "mail/SMTPClient.h"
#include "platform/linux/SocketConnector.h"
#include "sandbox/ChildProcess.h"
#include "sandbox/DovecotServer.h"
#include "sandbox/TemporaryFolder.h"

namespace halcyra::bench {
namespace {

constexpr int rounds = 60;
constexpr const char* user = "robin@x.org";
constexpr const char* recipient = "ann@y.org";
constexpr const char* password = "plum cake";

struct NoLog : Log {
  void write(const std::string&, const LogFields&) override {}
};

std::string message() {
  std::string text = "From: robin@x.org\r\nTo: ann@y.org\r\nSubject: Bench\r\n\r\n";
  while (text.size() < 20'000) text += "A line of an ordinary message, as people write them.\r\n";
  return text;
}

/// The program that runs on: its connector, and what it shares, is made once.
class OurSender {
 public:
  explicit OurSender(std::uint16_t port) : port_(port), connector_(context_.get_executor()) {}

  double send() {
    const auto started = std::chrono::steady_clock::now();
    SMTPClient client(connector_, log_);
    std::exception_ptr failure;
    boost::asio::co_spawn(context_,
                          client.send({.host = "localhost",
                                       .port = port_,
                                       .implicitTLS = true,
                                       .username = user,
                                       .password = password,
                                       .from = user,
                                       .to = recipient,
                                       .message = message_}),
                          [&](std::exception_ptr error) { failure = error; });
    context_.restart();
    context_.run();
    if (failure) std::rethrow_exception(failure);
    const auto taken = std::chrono::steady_clock::now() - started;
    return std::chrono::duration<double, std::milli>(taken).count();
  }

 private:
  std::uint16_t port_;
  std::string message_ = message();
  boost::asio::io_context context_{1};
  SocketConnector connector_;
  NoLog log_;
};

class PythonSender {
 public:
  PythonSender(std::uint16_t port, const std::string& messageFile)
      : program_({{"/usr/bin/python3", HALCYRA_BENCH_SOURCES "/smtplib_send.py",
                   std::to_string(port), user, password, user, recipient, messageFile}}) {}

  double send() {
    const std::size_t before = program_.output().size();
    program_.writeInput("\n");
    const auto told = [before](std::string_view output) {
      return output.size() > before && output.ends_with('\n');
    };
    if (!program_.waitForOutput(told, std::chrono::seconds(20))) {
      throw std::runtime_error("smtplib: " + program_.errors());
    }
    return std::stod(program_.output().substr(before));
  }

 private:
  sandbox::ChildProcess program_;
};

void run() {
  sandbox::DovecotServer accounts({{{user, password}}, "localhost"});
  PostfixServer server(accounts);
  setenv("SSL_CERT_FILE", accounts.authorityFile().c_str(), 1);
  const sandbox::TemporaryFolder folder;
  const std::string file = (folder.path() / "message").string();
  std::ofstream(file) << message();
  OurSender ourSender(server.port());
  PythonSender pythonSender(server.port(), file);
  // The server's helper processes start at its first message.
  ourSender.send();
  std::vector<double> ours, theirs;
  for (int round = 0; round < rounds; ++round) {
    // The server delivers the message before meanwhile, which both would else pay for.
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
    ours.push_back(ourSender.send());
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
    theirs.push_back(pythonSender.send());
  }
  if (server.accepted() != 2 * rounds + 1) throw std::runtime_error("messages are missing");
  printRatio("message of 20 KB by SMTP over TLS", "ms", ours, theirs, 0.15);
}

}  // namespace
}  // namespace halcyra::bench

int main() {
  try {
    halcyra::bench::run();
    return 0;
  } catch (const std::exception& error) {
    std::cerr << "smtp_bench: " << error.what() << "\n";
    return 1;
  }
}
