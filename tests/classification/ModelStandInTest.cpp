#include "sandbox/ModelStandIn.h"

#include <gtest/gtest.h>

#include "classification/LLMClient.h"
#include "classification/PromptComposition.h"
#include "platform/linux/CurlHttpClient.h"
#include "support/FailureText.h"
#include "support/RunTask.h"
#include "text/Json.h"

namespace halcyra {
namespace {

using sandbox::LoopbackHttpServer;
using sandbox::ModelStandIn;

AppConfig shop() {
  const auto rule = [](std::string id, std::string criteria, MailRuleAction action) {
    MailRule made;
    made.id = id;
    made.displayName = id;
    made.criteriaPrompt = std::move(criteria);
    made.action = action;
    return made;
  };
  AppConfig config;
  config.rules = {
      rule("support", "A customer asks for help with a problem or\nan error.",
           MailRuleAction::notifyWithSuggestion),
      rule("invoices", "Invoices, bills and payment reminders.", MailRuleAction::doNothing),
      rule("rest", "Use when nothing else applies.", MailRuleAction::doNothing)};
  config.rules[2].isCatchAll = true;
  return config;
}

TEST(ModelStandIn, AnswersTheRealClientOverHttp) {
  const LoopbackHttpServer server(ModelStandIn("key"));
  CurlHttpClient http;
  LLMClient client(http, {server.baseURL(), "any", 0.2, "key"});
  const std::string system = composeClassificationSystemPrompt(shop(), std::nullopt, std::nullopt);
  const auto classify = [&](std::string mail) {
    return runTask(client.classify(system, classificationUserMessage(mail), 12000));
  };
  struct Case {
    std::string mail;
    std::string ruleId;
    std::string draftPart;  // empty for no draft
  };
  const Case cases[] = {
      {"Subject: Error in the app\nFrom: a@b\n\nIt shows a problem, please help.", "support",
       "Thank you for your message about “Error in the app”"},
      {"Subject: Problème avec le site\n\nBonjour, nous avons une erreur sur votre site.",
       "support", "Merci pour votre message au sujet de « Problème avec le site »"},
      {"Subject: Hilfe\n\nHallo, wir haben ein Problem mit der Anmeldung.", "support",
       "vielen Dank für Ihre Nachricht zum Thema „Hilfe“"},
      {"Subject: Rechnung 4711\n\nDie Zahlung ist offen.", "invoices", ""},
      {"Subject: Lunch?\n\nAre you hungry?", "rest", ""},
  };
  for (const Case& each : cases) {
    const ClassificationResult result = classify(each.mail);
    EXPECT_EQ(result.ruleId, each.ruleId) << each.mail;
    EXPECT_TRUE(result.confidence >= 0.55 && result.confidence <= 0.95) << result.confidence;
    EXPECT_EQ(result.draftReply.has_value(), !each.draftPart.empty()) << each.mail;
    EXPECT_NE(result.draftReply.value_or("").find(each.draftPart), std::string::npos) << each.mail;
  }

  // A mail that asks for a meeting gets the first start that may be proposed.
  const std::string starts =
      "you may only propose starts from this list:\n- Friday, 9:00\n- Friday";
  const std::pair<std::string, std::string> contexts[] = {
      {"### Meeting scheduling guardrails\n" + starts, "How about Friday, 9:00? "},
      {"### Meeting scheduling guardrails\ndo **not** propose any times",
       "Could you send me two or three times"},
      {"", "I am looking into it"}};
  for (const auto& [context, part] : contexts) {
    const auto result = runTask(
        client.classify(composeClassificationSystemPrompt(shop(), "any", context),
                        classificationUserMessage("Subject: Help\n\nCan we meet? I need help with "
                                                  "a problem."),
                        12000));
    EXPECT_NE(result.draftReply.value_or("").find(part), std::string::npos) << context;
  }
  EXPECT_EQ(runTask(client.completeFreeText("Answer.", "Hello", 100)),
            "This is the sandbox stand-in, not a real model. A real model would answer here.");
  EXPECT_EQ(server.connectionCount(), 1u);

  LLMClient stranger(http, {server.baseURL() + "/v1/", "any", 0.2, "wrong"});
  EXPECT_EQ(failureText<LLMError>([&] { runTask(stranger.completeFreeText("", "", 10)); }),
            "LLM HTTP 401: {\"error\":{\"code\":null,\"message\":\"Incorrect API key provided.\","
            "\"param\":null,\"type\":\"authentication_error\"}}");
}

TEST(ModelStandIn, ReadsALeadOutOfALetter) {
  const LoopbackHttpServer server(ModelStandIn("key"));
  CurlHttpClient http;
  LLMClient client(http, {server.baseURL(), "any", 0.2, "key"});
  const auto fields = [&](std::string letter) {
    return runTask(client.extractLeadFields(std::move(letter), 12000));
  };
  EXPECT_EQ(fields("Subject: Price?\n\nFrom: Ann van Lee <ann@x.org>\n\nHello,\n\nwe need ten. "
                   "What is\nthe price?\n\nAnn van Lee\nAcme Ltd\nTel.: +44 20 7946\nMobile 0171"),
            (DynamicsLeadFields{.subject = "Enquiry: Price?",
                                .first_name = "Ann",
                                .last_name = "van Lee",
                                .company_name = "Acme Ltd",
                                .email = "ann@x.org",
                                .telephone = "+44 20 7946",
                                .mobile = "0171",
                                .notes = "What is the price?"}));
  EXPECT_EQ(fields("Subject: \n\nFrom: ann@x.org\n\nNo more."),
            (DynamicsLeadFields{.email = "ann@x.org"}));
  EXPECT_EQ(fields("?"), (DynamicsLeadFields{.notes = "?"}));
}

TEST(ModelStandIn, RefusesWhatAServiceRefuses) {
  const ModelStandIn model;
  const std::vector<HttpHeader> asJson = {{"content-type", "application/json; charset=utf-8"}};
  const std::string path = "/v1/chat/completions";
  const std::string good = R"({"model":"m","messages":[{"role":"user","content":"x"}]})";
  const std::pair<sandbox::ServedRequest, int> cases[] = {
      {{"POST", path, asJson, good}, 200},
      {{"GET", "/v1/models", {}, ""}, 200},
      {{"GET", path, asJson, good}, 404},
      {{"POST", "/v1/completions", asJson, good}, 404},
      {{"POST", path, {}, good}, 400},
      {{"POST", path, asJson, "{"}, 400},
      {{"POST", path, asJson, "[]"}, 400},
      {{"POST", path, asJson, R"({"messages":[]})"}, 400},
      {{"POST", path, asJson, R"({"model":"m","messages":{}})"}, 400},
      {{"POST", path, asJson, R"({"model":"m","messages":[{"role":"user"}]})"}, 400},
  };
  for (const auto& [request, status] : cases) {
    const HttpResponse response = model(request);
    EXPECT_EQ(response.status, status) << request.method << request.target << request.body;
    const nlohmann::json body = parseJson(response.body);
    EXPECT_EQ(body.contains("error"), status != 200);
  }
  EXPECT_EQ(parseJson(model(cases[0].first).body)["model"],
            "halcyra-sandbox-stand-in (not a real model)");
}

}  // namespace
}  // namespace halcyra
