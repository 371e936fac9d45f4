#include "triage/ResolvedSMTP.h"

#include <gtest/gtest.h>

namespace halcyra {
namespace {

MailAccount account(Kind kind, std::string label, MailAccountOutgoingSMTP own = {}) {
  return {.id = "box",
          .displayLabel = std::move(label),
          .kind = std::move(kind),
          .outgoingSMTP = std::move(own)};
}

const Kind imap = IMAPConnection{.host = "i", .username = " ann@x ", .mailbox = ""};

TEST(ResolvedSMTP, OwnServerThenDefaultServerThenNone) {
  AppConfig none;
  none.imapUsername = " old@x ";
  AppConfig server = none;
  server.smtpHost = " smtp.x ";
  server.smtpPort = 0;
  AppConfig named = server;
  named.smtpUsername = " relay ";
  named.smtpPort = 2525;
  named.smtpUseStartTLS = false;
  AppConfig bare = server;
  bare.imapUsername = "";

  const struct {
    AppConfig config;
    MailAccount account;
    std::optional<ResolvedSMTP> expected;
  } cases[] = {
      {none, account(imap, "Ann"), std::nullopt},
      {server, account(imap, "Ann"), {{"smtp.x", 0, "old@x", "pw", true, "ann@x"}}},
      {named, account(imap, "a@label"), {{"smtp.x", 2525, "relay", "pw", false, "ann@x"}}},
      {bare, account(GoogleGmail{}, " g@x "), {{"smtp.x", 0, "g@x", "pw", true, "g@x"}}},
      {server, account(MicrosoftGraph{}, "Work"), {{"smtp.x", 0, "old@x", "pw", true, "old@x"}}},
      {bare, account(MicrosoftGraph{}, "Work"), std::nullopt},
      {server, account(IMAPConnection{.username = " ", .mailbox = ""}, "a@x"), std::nullopt},
      {named,
       account(imap, "Ann", {" own.x ", 0, true, " "}),
       {{"own.x", 587, "ann@x", "pw", true, "ann@x"}}},
      {named,
       account(GoogleGmail{}, "g@x", {"own.x", 465, true, " u "}),
       {{"own.x", 465, "u", "pw", true, "g@x"}}},
      {named,
       account(imap, "Ann", {"own.x", -1, false, "u"}),
       {{"own.x", 587, "u", "pw", false, "ann@x"}}},
  };
  for (const auto& c : cases) {
    const auto resolved = resolveSMTP(c.config, c.account, "pw");
    EXPECT_EQ(resolved, c.expected) << c.account.displayLabel << (resolved ? resolved->host : "");
  }
}

TEST(ResolvedSMTP, ImplicitTLSIsForPort465Alone) {
  const struct {
    std::int64_t port;
    bool useStartTLS;
    std::uint16_t dialled;
    bool implicitTLS, startTLS;
  } cases[] = {
      {465, true, 465, true, false}, {465, false, 465, true, false},
      {587, true, 587, false, true}, {25, false, 25, false, false},
      {-3, true, 0, false, true},    {70000, false, 65535, false, false},
  };
  for (const auto& c : cases) {
    const SMTPOrder order =
        smtpOrder({"h", c.port, "u", "p", c.useStartTLS, "from@x"}, "to@y", "text");
    EXPECT_EQ(order.port, c.dialled);
    EXPECT_EQ(order.implicitTLS, c.implicitTLS) << c.port;
    EXPECT_EQ(order.useStartTLS, c.startTLS) << c.port;
    EXPECT_EQ(order.from + order.to + order.username + order.password, "from@xto@yup");
  }
}

}  // namespace
}  // namespace halcyra
