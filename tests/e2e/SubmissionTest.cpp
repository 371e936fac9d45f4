// The SMTP client against a real submission server.

#include <gtest/gtest.h>

#include <cstdlib>

#include "mail/OutboundMessages.h"
#include "mail/SMTPClient.h"
#include "mail/SMTPError.h"
#include "platform/linux/SocketConnector.h"
#include "sandbox/SubmissionServer.h"
#include "support/RecordingLog.h"
#include "support/RunTask.h"

namespace halcyra {
namespace {

using sandbox::SubmissionServer;
using sandbox::SubmittedMessage;

class Submission : public ::testing::Test {
 protected:
  static void SetUpTestSuite() {
    server = std::make_unique<SubmissionServer>(
        sandbox::SubmissionOptions{{{"robin@x.org", "plum cäke"}}, "localhost"});
  }
  static void TearDownTestSuite() { server.reset(); }

  void SetUp() override { trust(server->authorityFile()); }
  void TearDown() override { unsetenv("SSL_CERT_FILE"); }

  static void trust(const std::string& authority) { setenv("SSL_CERT_FILE", authority.c_str(), 1); }

  static SMTPOrder order(bool tls) {
    return {"localhost",
            tls ? server->tlsPort() : server->port(),
            tls,
            false,
            "robin@x.org",
            "plum cäke",
            "robin@x.org",
            "ann@y.org",
            "Subject: s\r\n\r\nt"};
  }

  // The failure's text; empty when the message was sent.
  static std::string failure(SMTPOrder with) {
    boost::asio::io_context context;
    SocketConnector connector(context.get_executor());
    RecordingLog log;
    SMTPClient client(connector, log);
    try {
      runTask(context, client.send(std::move(with)));
      return "";
    } catch (const SMTPError& error) {
      return error.what();
    } catch (const StreamError& error) {
      return std::string("stream: ") + error.what();
    }
  }

  static std::unique_ptr<SubmissionServer> server;
};

std::unique_ptr<SubmissionServer> Submission::server;

std::string largeMessage() {
  std::string text = "Subject: lärge\r\nX-Long: " + std::string(5000, 'x') + "\r\n\r\n";
  while (text.size() < 10'000'000) text += "Line of a large message, 8bit: ünïcode \U0001F36A\r\n";
  return text;
}

TEST_F(Submission, MessagesArriveByteForByteOverTLSAndInTheClear) {
  const std::string reply = buildReplyMessage(
      {"robin@x.org", "Ann <ann@y.org>", "Hä?", "1@y", "<0@y>", "Hello,\n\nyes.\n"});
  const std::string forward = buildForwardMessage(
      {"robin@x.org", "ann@y.org", "Hi", "Subject: Hi\r\n\r\nbare \n and \r, no end"});
  for (const bool tls : {true, false}) {
    std::vector<SubmittedMessage> expected = server->received();
    for (const std::string& message : {reply, forward, largeMessage()}) {
      SMTPOrder with = order(tls);
      with.message = message;
      ASSERT_EQ(failure(with), "");
      const std::string text = message.substr(0, message.find_last_not_of("\r\n") + 1);
      expected.push_back({"robin@x.org", "robin@x.org", "ann@y.org", text + "\r\n"});
    }
    // Not EXPECT_EQ, which would print 25 MB.
    EXPECT_TRUE(server->received() == expected) << "TLS: " << tls;
  }
}

TEST_F(Submission, WhatTheServerOrTheCertificateRefusesIsNotSent) {
  const auto before = server->received();
  for (const bool tls : {true, false}) {
    SMTPOrder with = order(tls);
    with.password = "plum";
    EXPECT_EQ(failure(with), "Expected 235, got: 535 5.7.8 Authentication credentials invalid");
    with = order(tls);
    with.to = "no-address-at-all@";
    EXPECT_EQ(failure(with).find("Expected 250, got: 5"), 0u) << failure(with);
  }
  SMTPOrder elsewhere = order(true);
  elsewhere.host = "127.0.0.1";
  EXPECT_EQ(failure(elsewhere).find("stream: "), 0u) << failure(elsewhere);
  trust("/dev/null");
  EXPECT_EQ(failure(order(true)).find("stream: "), 0u) << failure(order(true));
  EXPECT_EQ(server->received(), before);
}

TEST_F(Submission, STARTTLSIsRefusedBeforeAnyCredentials) {
  SMTPOrder with = order(false);
  with.useStartTLS = true;
  EXPECT_EQ(failure(with).find("STARTTLS on port " + std::to_string(with.port) + " is not"), 0u);
}

}  // namespace
}  // namespace halcyra
