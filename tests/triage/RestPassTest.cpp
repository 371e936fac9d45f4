#include "triage/RestPass.h"

#include "RestWorld.h"
#include "text/Base64.h"

namespace halcyra {
namespace {

using Effects = std::vector<std::string>;

const std::string gmailList =
    "GET /messages?q=is%3Aunread%20in%3Ainbox%20after%3A2026%2F03%2F05%20before%3A2026%2F03%2F06"
    "&maxResults=25";
const std::string graphToday =
    "GET /mailFolders/inbox/messages?$filter=isRead%20eq%20false%20and%20receivedDateTime%20ge%20"
    "2026-03-05T00:00:00Z%20and%20receivedDateTime%20lt%202026-03-06T00:00:00Z&$top=25"
    "&$select=";
const std::string graphList =
    graphToday + "id,inferenceClassification&$orderby=receivedDateTime%20desc";
const std::string synthesized =
    "?$select=subject,from,receivedDateTime,internetMessageId,body,uniqueBody";

std::string labelsOf(const std::string& id) {
  return "GET /messages/" + id + "?format=minimal";
}

std::string rawOf(const std::string& id) {
  return "GET /messages/" + id + "?format=raw";
}

std::string rawAnswer(const std::string& message) {
  return R"({"raw":")" + encodeBase64(message) + R"("})";
}

const std::string mailHello = "Message-ID: <m>\r\nSubject: Hello\r\n\r\nHi";

TEST(RestPass, SyntheticUidIsAHashThatIsNeverZero) {
  const std::pair<std::string, std::uint32_t> cases[] = {
      {"", 5381},     {"a", 177670}, {"\xC3\xA9", 5866513}, {"AAMkAD/=+", 2819022043},
      {"oA8Lbzk", 1},  // its hash is 0
  };
  for (const auto& [id, uid] : cases) EXPECT_EQ(syntheticUid(id), uid) << id;
}

TEST(GmailPass, BulkIsMarkedWithoutDownloadAndTheRestIsHandedOver) {
  RestWorld w(GoogleGmail{});
  w.config.prefilterSkippedTagGmailPromotions = "ads";
  w.answer(gmailList, R"({"messages":[{"id":"1"},{"id":"2"},{"id":"3"}]})")
      .answer(labelsOf("1"), R"({"labelIds":["CATEGORY_SOCIAL","CATEGORY_PROMOTIONS"]})")
      .answer(labelsOf("2"), R"({"labelIds":["CATEGORY_SOCIAL","UNREAD"]})")
      .answer(labelsOf("3"), R"({"labelIds":["INBOX"]})")
      .answer("GET /labels", R"({"labels":[{"id":"L7","name":"ads"}]})")
      .answer("POST /messages/1/modify", "{}")
      .answer("POST /messages/2/modify", "{}")
      .answer(rawOf("3"), rawAnswer(mailHello));
  EXPECT_EQ(w.gmailPass(), PassResult::done);
  const Effects first = {
      gmailList,
      labelsOf("1"),
      "GET /labels",
      R"(POST /messages/1/modify {"addLabelIds":["L7"],"removeLabelIds":["UNREAD"]})",
      "log Prefilter skip (Gmail Promotions): 1",
      labelsOf("2"),
      R"(POST /messages/2/modify {"removeLabelIds":["UNREAD"]})",
      "log Prefilter skip (Gmail Social): 2",
      labelsOf("3"),
      rawOf("3"),
      "process 3 177624 Hello: Hi"};
  EXPECT_EQ(w.takeEffects(), first);
  EXPECT_TRUE(w.isRecorded("gmail:1") && w.isRecorded("gmail:2"));
  EXPECT_FALSE(w.isRecorded("gmail:3")) << "a downloaded message is the pipeline's to record";

  w.gmailPass();
  EXPECT_EQ(w.takeEffects(), (Effects{gmailList, labelsOf("1"), labelsOf("2"), labelsOf("3"),
                                      rawOf("3"), "process 3 177624 Hello: Hi"}))
      << "what is recorded is left alone, without a word";
}

TEST(GmailPass, LabelsAreAskedForOnlyWhereTheyMatter) {
  struct Case {
    bool prefilter, promotions, social;
    const char* labels;
    Effects expected;
  };
  const char* both = R"(["CATEGORY_PROMOTIONS","CATEGORY_SOCIAL"])";
  const std::string skippedAs = "log Prefilter skip (Gmail ";
  const std::string modify = R"(POST /messages/1/modify {"removeLabelIds":["UNREAD"]})";
  const Effects download = {rawOf("1"), "process 1 177622 Hello: Hi"};
  const Effects looksFirst = {labelsOf("1"), download[0], download[1]};
  const Case cases[] = {
      {false, true, true, both, download},
      {true, false, false, both, download},
      {true, true, true, both, {labelsOf("1"), modify, skippedAs + "Promotions): 1"}},
      {true, false, true, both, {labelsOf("1"), modify, skippedAs + "Social): 1"}},
      {true, true, false, R"(["CATEGORY_SOCIAL"])", looksFirst},
      {true, false, true, R"(["CATEGORY_PROMOTIONS"])", looksFirst},
      {true, true, true, R"(["category_social","CATEGORY_UPDATES"])", looksFirst},
  };
  for (const Case& c : cases) {
    RestWorld w(GoogleGmail{});
    w.config.prefilterMarketingEnabled = c.prefilter;
    w.config.prefilterGmailPromotionsLabel = c.promotions;
    w.config.prefilterGmailSocialLabel = c.social;
    w.answer(gmailList, R"({"messages":[{"id":"1"}]})")
        .answer(labelsOf("1"), std::string(R"({"labelIds":)") + c.labels + "}")
        .answer("POST /messages/1/modify", "{}")
        .answer(rawOf("1"), rawAnswer(mailHello));
    w.gmailPass();
    w.effects.erase(w.effects.begin());  // the list
    EXPECT_EQ(w.effects, c.expected) << c.prefilter << c.promotions << c.social << c.labels;
  }
}

TEST(GmailPass, AFailureCostsOneMessageAndOnlyThat) {
  RestWorld w(GoogleGmail{});
  const std::string promotions = R"({"labelIds":["CATEGORY_PROMOTIONS"]})";
  w.answer(gmailList, R"({"messages":[{"id":"1"},{"id":"2"},{"id":"3"},{"id":"4"},{"id":"5"}]})")
      .answer(labelsOf("1"), "gone\nT", 404)
      .answer(labelsOf("2"), "{}")
      .answer(rawOf("2"), "{}")
      .answer(labelsOf("3"), "{}")
      .answer(rawOf("3"), rawAnswer(" \n"))  // nothing to parse
      .answer(labelsOf("4"), promotions)
      .answer("POST /messages/4/modify", R"({"error":{"message":"No\nscope","status":"S"}})", 403)
      .answer(labelsOf("5"), "{}")
      .answer(rawOf("5"), rawAnswer(mailHello));
  EXPECT_EQ(w.gmailPass(), PassResult::done);
  EXPECT_EQ(
      w.effects,
      (Effects{gmailList, labelsOf("1"), "log Gmail fetch 1: gone ***", labelsOf("2"), rawOf("2"),
               "log Gmail fetch 2: Not the expected JSON: \"raw\" is not there.", labelsOf("3"),
               rawOf("3"), labelsOf("4"),
               R"(POST /messages/4/modify {"removeLabelIds":["UNREAD"]})",
               "log Gmail mark processed: No scope (S)", "log Prefilter skip (Gmail Promotions): 4",
               labelsOf("5"), rawOf("5"), "process 5 177626 Hello: Hi"}));
  EXPECT_TRUE(w.isRecorded("gmail:4"));
}

TEST(GmailPass, WithoutATokenOrAListItEndsWithOneLine) {
  RestWorld refused(GoogleGmail{});
  refused.account.displayLabel = "my\nbox";
  refused.answer(gmailList, R"({"error":{"message":"Quota","status":"OVER"}})", 429);
  EXPECT_EQ(refused.gmailPass(), PassResult::failed);
  EXPECT_EQ(refused.effects, (Effects{gmailList, "log Gmail sync (my box): Quota (OVER)"}));

  RestWorld signedOut(GoogleGmail{});
  signedOut.signIn.store.deleteCredential("box");
  EXPECT_EQ(signedOut.gmailPass(), PassResult::failed);
  EXPECT_EQ(signedOut.effects,
            Effects{"log Gmail sync (me@x): Not signed in to Google for this account."});
}

TEST(GraphPass, TheOtherTabIsMarkedWithoutDownloadAndTheRestIsHandedOver) {
  RestWorld w(MicrosoftGraph{});
  w.config.prefilterSkippedTagOutlookOther = "noise";
  w.config.prefilterSkippedMailboxTag = "bulk";
  w.answer(graphList, R"({"value":[{"id":"A/=","inferenceClassification":" Other "},{"id":"2"},
                        {"id":"3","inferenceClassification":"focused"}]})")
      .answer("GET /messages/A%2F%3D?$select=categories", R"({"categories":["kept"]})")
      .answer("PATCH /messages/A%2F%3D", "{}")
      .answer("GET /messages/2/$value", mailHello)
      .answer("GET /messages/3/$value", "", 404)
      .answer("GET /messages/3" + synthesized,
              R"({"subject":"S","internetMessageId":"<i>","body":{"content":"a<br/>b"}})");
  EXPECT_EQ(w.graphPass(), PassResult::done);
  const std::string status =
      "status 12:00:00 — Inbox: 3 unread today listed (Graph). Triaged mail uses the same list.";
  const Effects downloads = {"GET /messages/2/$value", "process 2 177623 Hello: Hi",
                             "GET /messages/3/$value", "GET /messages/3" + synthesized,
                             "process 3 177624 S: a\nb"};
  Effects expected = {graphList, status, "GET /messages/A%2F%3D?$select=categories",
                      R"(PATCH /messages/A%2F%3D {"categories":["kept","noise"],"isRead":true})",
                      "log Prefilter skip (Outlook Other): A/="};
  expected.insert(expected.end(), downloads.begin(), downloads.end());
  EXPECT_EQ(w.takeEffects(), expected);
  EXPECT_TRUE(w.isRecorded("graph:A/="));
  EXPECT_FALSE(w.isRecorded("graph:2") || w.isRecorded("graph:3"));

  w.graphPass();
  expected.erase(expected.begin() + 2, expected.begin() + 5);
  EXPECT_EQ(w.takeEffects(), expected) << "what is recorded is left alone, without a word";
}

TEST(GraphPass, TheOtherTabIsBulkOnlyWhenBothSettingsSaySo) {
  for (const auto& [prefilter, otherTab] : {std::pair(false, true), {true, false}, {true, true}}) {
    RestWorld w(MicrosoftGraph{});
    w.config.prefilterMarketingEnabled = prefilter;
    w.config.prefilterOutlookOtherTab = otherTab;
    w.answer(graphList, R"({"value":[{"id":"1","inferenceClassification":"OTHER"}]})")
        .answer("GET /messages/1/$value", mailHello)
        .answer("PATCH /messages/1", "busy", 503);
    w.graphPass();
    w.effects.erase(w.effects.begin(), w.effects.begin() + 2);  // list and status
    const Effects skipped = {R"(PATCH /messages/1 {"isRead":true})",
                             "log Graph mark processed: busy",
                             "log Prefilter skip (Outlook Other): 1"};
    const Effects downloaded = {"GET /messages/1/$value", "process 1 177622 Hello: Hi"};
    EXPECT_EQ(w.effects, prefilter && otherTab ? skipped : downloaded);
    EXPECT_EQ(w.isRecorded("graph:1"), prefilter && otherTab) << "even where marking failed";
  }
}

TEST(GraphPass, AMessageThatCannotBeFetchedIsPassedOver) {
  RestWorld w(MicrosoftGraph{});
  w.answer(graphList, R"({"value":[{"id":"1"},{"id":"2"},{"id":"3"}]})")
      .answer("GET /messages/1/$value", "", 200)
      .answer("GET /messages/1" + synthesized, "", 502)
      .answer("GET /messages/2/$value", " \r\n")  // not empty, yet nothing to parse
      .answer("GET /messages/3/$value", mailHello);
  EXPECT_EQ(w.graphPass(), PassResult::done);
  w.effects.erase(w.effects.begin(), w.effects.begin() + 2);
  EXPECT_EQ(w.effects, (Effects{"GET /messages/1/$value", "GET /messages/1" + synthesized,
                                "log Graph fetch 1: Microsoft Graph gave a bad answer (HTTP 502).",
                                "GET /messages/2/$value", "GET /messages/3/$value",
                                "process 3 177624 Hello: Hi"}));
}

TEST(GraphPass, WithoutATokenOrAListItEndsWithALineAndAStatus) {
  RestWorld refused(MicrosoftGraph{});
  EXPECT_EQ(refused.graphPass(), PassResult::failed) << "no query is answered";
  ASSERT_GT(refused.effects.size(), 2u);
  EXPECT_EQ(refused.effects[refused.effects.size() - 2], "log Graph sync (me@x): no answer");
  EXPECT_EQ(refused.effects.back(), "error 12:00:00 — no answer");

  RestWorld signedOut(MicrosoftGraph{});
  signedOut.signIn.store.deleteCredential("box");
  signedOut.signIn.clock.advance(std::chrono::seconds(3600 + 62));
  EXPECT_EQ(signedOut.graphPass(), PassResult::failed);
  const std::string failure = "Not signed in to Microsoft for this account.";
  EXPECT_EQ(signedOut.effects,
            (Effects{"log Graph sync (me@x): " + failure, "error 13:01:02 — " + failure}));
}

TEST(GraphPass, AMissingClientIdIsLoggedOnceAndToldOnceForEachMailbox) {
  RestWorld w(MicrosoftGraph{});
  EXPECT_EQ(w.graphPass(""), PassResult::notConfigured);
  w.signIn.clock.advance(std::chrono::seconds(5));
  EXPECT_EQ(w.graphPass(""), PassResult::notConfigured);
  w.account.id = "two";
  EXPECT_EQ(w.graphPass(""), PassResult::notConfigured);
  EXPECT_EQ(
      w.effects,
      (Effects{"log Graph sync (me@x): HALCYRA_MICROSOFT_OAUTH_CLIENT_ID is unset — Outlook sync "
               "is disabled until you set it in Secrets.xcconfig and rebuild.",
               "error 12:00:00 — Set HALCYRA_MICROSOFT_OAUTH_CLIENT_ID in Secrets.xcconfig and "
               "rebuild.",
               "error 12:00:05 — Set HALCYRA_MICROSOFT_OAUTH_CLIENT_ID in Secrets.xcconfig and "
               "rebuild."}));
}

TEST(RestPass, AStopIsSeenBetweenMessages) {
  RestWorld gmail(GoogleGmail{});
  gmail.config.prefilterMarketingEnabled = false;
  gmail.stopsAfterOne = true;
  gmail.answer(gmailList, R"({"messages":[{"id":"1"},{"id":"2"}]})")
      .answer(rawOf("1"), rawAnswer(mailHello))
      .answer(rawOf("2"), rawAnswer(mailHello));
  EXPECT_EQ(gmail.gmailPass(), PassResult::done);
  EXPECT_EQ(gmail.effects, (Effects{gmailList, rawOf("1"), "process 1 177622 Hello: Hi"}));

  RestWorld graph(MicrosoftGraph{});
  graph.stopsAfterOne = true;
  graph.answer(graphList, R"({"value":[{"id":"1"},{"id":"2"}]})")
      .answer("GET /messages/1/$value", mailHello)
      .answer("GET /messages/2/$value", mailHello);
  EXPECT_EQ(graph.graphPass(), PassResult::done);
  EXPECT_EQ(graph.effects.size(), 4u) << "list, status, one download and its mail";
  EXPECT_EQ(graph.effects.back(), "process 1 177622 Hello: Hi");
}

}  // namespace
}  // namespace halcyra
