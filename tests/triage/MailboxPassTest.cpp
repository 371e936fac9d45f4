#include "triage/MailboxPass.h"

#include "PipelineHarness.h"
#include "RestWorld.h"
#include "support/Dialogue.h"
#include "text/Base64.h"

namespace halcyra {
namespace {

using Texts = std::vector<std::string>;

/// A mailbox at a provider in front of the real pipeline. All runs on one context.
struct PassWorld {
  explicit PassWorld(Kind kind) : rest(kind) {
    pipeline.config.mailAccounts = {rest.account};
    pipeline.config.prefilterMarketingEnabled = false;
    pipeline.config.rules[0].action = MailRuleAction::doNothing;
    pipeline.config.rules[0].mailboxTagName = " seen\n";
    pipeline.answer("support", 0.9);
  }

  PassResult pass(KeychainHelper& secrets, ProviderSync* used) {
    PassOrder order{.services = {.main = context.get_executor(),
                                 .io = context.get_executor(),
                                 .connector = connector,
                                 .secrets = secrets,
                                 .clock = rest.signIn.clock,
                                 .log = rest.log,
                                 .providers = used},
                    .processor = std::make_shared<EmailProcessor>(pipeline.processor()),
                    .config = pipeline.config,
                    .secrets = {},
                    .account = rest.account,
                    .status =
                        [this](const std::string& id, const std::string& text, bool isError) {
                          statuses.push_back(id + (isError ? " error " : " ") + text);
                        },
                    .notices = notices,
                    .stop = {}};
    return runTask(context, runPass(std::move(order)));
  }

  boost::asio::io_context context;
  Dialogue connector;
  PipelineHarness pipeline;
  RestWorld rest;
  ProviderSync providers{rest.clients, pipeline, pipeline.store};
  std::shared_ptr<MissingClientIdNotices> notices = std::make_shared<MissingClientIdNotices>();
  Texts statuses;
};

TEST(MailboxPass, MailOfAProviderIsTriagedMarkedAndThenLeftAlone) {
  const std::string raw = "Message-ID: <m@x>\r\nSubject: Hello\r\n\r\nHi";
  PassWorld gmail(GoogleGmail{});
  gmail.rest
      .answer(
          "GET /messages?q=is%3Aunread%20in%3Ainbox%20after%3A2026%2F03%2F05%20before%3A2026%2F03"
          "%2F06&maxResults=25",
          R"({"messages":[{"id":"1"}]})")
      .answer("GET /messages/1?format=raw", R"({"raw":")" + encodeBase64(raw) + R"("})");
  PassWorld graph(MicrosoftGraph{});
  graph.rest
      .answer(
          "GET /mailFolders/inbox/messages?$filter=isRead%20eq%20false%20and%20receivedDateTime"
          "%20ge%202026-03-05T00:00:00Z%20and%20receivedDateTime%20lt%202026-03-06T00:00:"
          "00Z&$top=25&$select=id,inferenceClassification&$orderby=receivedDateTime%20desc",
          R"({"value":[{"id":"1"}]})")
      .answer("GET /messages/1/$value", raw);
  for (PassWorld* w : {&gmail, &graph}) {
    for (int pass = 0; pass < 2; ++pass) {
      EXPECT_EQ(w->pass(w->rest.signIn.secrets, &w->providers), PassResult::done);
    }
    EXPECT_EQ(w->pipeline.effects, Texts{"mark seen"});
    EXPECT_TRUE(w->pipeline.store.contains("box\x1E<m@x>"));
    EXPECT_TRUE(w->connector.connections().empty());
  }
  EXPECT_EQ(gmail.statuses, Texts{});
  const std::string listed =
      "box 12:00:00 — Inbox: 1 unread today listed (Graph). Triaged mail uses the same list.";
  EXPECT_EQ(graph.statuses, (Texts{listed, listed}));
}

TEST(MailboxPass, WithoutClientIdOrProvidersThereIsNothingToAsk) {
  PassWorld w(MicrosoftGraph{});
  KeychainHelper noBuildValues(w.rest.signIn.storage, {});
  for (int pass = 0; pass < 2; ++pass) {
    EXPECT_EQ(w.pass(noBuildValues, &w.providers), PassResult::notConfigured);
  }
  EXPECT_EQ(w.rest.takeEffects().size(), 1u) << "one log line, no request";
  EXPECT_EQ(w.statuses, Texts{"box error 12:00:00 — Set HALCYRA_MICROSOFT_OAUTH_CLIENT_ID in "
                              "Secrets.xcconfig and rebuild."});
  EXPECT_EQ(w.pass(w.rest.signIn.secrets, nullptr), PassResult::notConfigured);
  EXPECT_TRUE(w.rest.effects.empty());
}

}  // namespace
}  // namespace halcyra
