#include "classification/LeadExtraction.h"

#include <gtest/gtest.h>

#include "classification/LLMError.h"
#include "classification/LeadReply.h"
#include "support/FailureText.h"
#include "support/ModelDouble.h"
#include "support/RunTask.h"

namespace halcyra {
namespace {

using nlohmann::json;

ParsedMail enquiry() {
  ParsedMail mail;
  mail.subject = "Price?";
  mail.from = "Ann Lee <ann@x.org>";
  mail.bodyText = "How much?";
  return mail;
}

AppConfig asking(double temperature) {
  AppConfig config;
  config.llmBaseURL = "http://m";
  config.llmModel = "any";
  config.llmTemperature = temperature;
  return config;
}

TEST(LeadExtraction, AsksForJsonAtALowTemperature) {
  for (const auto& [set, sent] : {std::pair{0.7, 0.4}, {0.4, 0.4}, {0.2, 0.2}}) {
    ModelDouble model;
    model.reply = "{}";
    EXPECT_EQ(runTask(extractLeadFields(model, asking(set), enquiry(), "key")),
              fromLineLeadFields(enquiry()));
    ASSERT_EQ(model.requests.size(), 1u);
    EXPECT_EQ(
        parseJson(model.requests[0].body),
        (json{{"model", "any"},
              {"temperature", sent},
              {"response_format", {{"type", "json_object"}}},
              {"messages",
               {{{"role", "system"}, {"content", leadSystemText}},
                {{"role", "user"},
                 {"content", "Subject: Price?\n\nFrom: Ann Lee <ann@x.org>\n\nHow much?"}}}}}));
  }
  ModelDouble model;
  AppConfig shortMail = asking(0.2);
  shortMail.llmMaxBodyChars = 9;
  model.reply = "{}";
  runTask(extractLeadFields(model, shortMail, enquiry(), "key"));
  EXPECT_NE(model.requests[0].body.find(R"("content":"Subject: ")"), std::string::npos);
  EXPECT_EQ(runTask(extractLeadFields(model, asking(0.2), enquiry(), " \n")),
            fromLineLeadFields(enquiry()));
  EXPECT_EQ(model.requests.size(), 1u);  // without a key nobody is asked
}

TEST(LeadExtraction, TheModelCannotBlankOutTheSender) {
  ModelDouble model;
  model.reply = R"({"subject":null,"email":" ","first_name":" Anna ","job_title":"Buyer\n"})";
  DynamicsLeadFields expected = fromLineLeadFields(enquiry());
  expected.first_name = "Anna";
  expected.job_title = "Buyer";
  EXPECT_EQ(runTask(extractLeadFields(model, asking(0.2), enquiry(), "key")), expected);
}

TEST(LeadExtraction, AnswersThatAreNoObjectOfTextsAreFailures) {
  const std::pair<const char*, std::optional<std::string>> cases[] = {
      {R"({"city":"Bath"})", "Bath"},
      {"```json\n{\"city\":\"Bath\"}\n```", "Bath"},
      {R"(Here it is: {"city":"Bath","score":7}. Anything else?)", "Bath"},
      {R"([{"city":"Bath"}])", "Bath"},
      {R"({"city":null,"other":{"city":"Bath"}})", ""},
      {R"([{"city":"Bath"},{"city":"York"}])", {}},
      {R"({"city":5})", {}},
      {R"({"city":["Bath"]})", {}},
      {R"({"city":"Bath")", {}},
      {"[]", {}},
      {"The city is Bath.", {}},
      {"} {", {}},
  };
  for (const auto& [reply, city] : cases) {
    SCOPED_TRACE(reply);
    if (city) {
      EXPECT_EQ(parseLeadReply(reply).city.value_or(""), *city);
    } else {
      EXPECT_EQ(failureText<LLMError>([text = reply] { parseLeadReply(text); }),
                "Could not parse LLM JSON.");
    }
  }
}

}  // namespace
}  // namespace halcyra
