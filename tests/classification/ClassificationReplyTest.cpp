#include "classification/ClassificationReply.h"

#include <gtest/gtest.h>

#include "classification/LLMError.h"
#include "support/FailureText.h"
#include "text/Json.h"

namespace halcyra {
namespace {

const std::string uuid = "0f8fad5b-d9cb-469f-a165-70867728950e";
const std::string longId = "rule-" + std::string(27, 'x');  // 32 characters

std::string nested(int depth, const std::string& inner) {
  std::string text = inner;
  for (int level = 0; level < depth; ++level) text = "{\"n\":" + text + "}";
  return text;
}

TEST(ClassificationReply, FindsRuleIdConfidenceAndDraft) {
  struct Case {
    std::string reply;
    ClassificationResult expected;
  };
  const Case cases[] = {
      {R"({"rule_id":" a ","confidence":0.85,"draft_reply":" Hi\n"})", {"a", 0.85, " Hi\n"}},
      // Fences and prose.
      {"```json\n{\"rule_id\":\"a\"}\n```", {"a", 0.5, {}}},
      {"  ```JSON{\"rule_id\":\"a\"}```  ", {"a", 0.5, {}}},
      {"```\n{\"rule_id\":\"a\",\"draft_reply\":\"x```json y\"}\n```", {"a", 0.5, "x y"}},
      {"```Json\n{\"rule_id\":\"a\"}\n```", {"a", 0.5, {}}},
      {"Sure! {\"rule_id\":\"a\",\"conf\":1} Bye.", {"a", 1, {}}},
      {R"([{"rule_id":"a"}])", {"a", 0.5, {}}},
      // The order of the plain aliases, and values that read as nothing.
      {R"({"selectedRuleId":"9","matchedRuleId":"8","rule_uuid":"7"})", {"7", 0.5, {}}},
      {R"({"chosen_rule_id":"6","selected_rule_id":"5","matched_rule_id":"4"})", {"4", 0.5, {}}},
      {R"({"ruleID":"3","ruleId":"2","rule_id":" \n"})", {"2", 0.5, {}}},
      {R"({"selectedRuleId":"9","matchedRuleId":null,"ruleID":["x"],"rule_id":{}})",
       {"9", 0.5, {}}},
      // Numbers as text.
      {R"({"rule_id":12345})", {"12345", 0.5, {}}},
      {R"({"rule_id":-7})", {"-7", 0.5, {}}},
      {R"({"rule_id":18446744073709551615})", {"18446744073709551615", 0.5, {}}},
      {R"({"rule_id":12345.0})", {"12345", 0.5, {}}},
      {R"({"rule_id":1.5})", {"1.5", 0.5, {}}},
      {R"({"rule_id":1e22})", {"10000000000000000000000", 0.5, {}}},
      {R"({"rule_id":true})", {"1", 0.5, {}}},
      {R"({"rule_id":false})", {"0", 0.5, {}}},
      // Loose keys need something like an id.
      {R"({"value":"few","selected":"abc","uuid":")" + uuid + "\"}", {uuid, 0.5, {}}},
      {R"({"selection":")" + longId + R"(","id":")" + uuid + "\"}", {longId, 0.5, {}}},
      {R"({"rule":")" + uuid + R"(","id":" )" + longId + "\"}", {longId, 0.5, {}}},
      {R"({"rule":")" + uuid + R"(","id":"short"})", {uuid, 0.5, {}}},
      {R"({"rule":{"uuid":"u","ruleId":"r","rule_id":"","id":null}})", {"r", 0.5, {}}},
      {R"({"rule":{"name":"x"},"match":{"id":3,"ruleId":"m"}})", {"m", 0.5, {}}},
      {R"({"value":")" + std::string(40, 'x') + R"(","match":{"id":3}})", {"3", 0.5, {}}},
      // Nesting: confidence and draft come from the object with the id.
      {R"({"confidence":0.9,"out":{"result":{"rule_id":"deep","score":0.7}}})", {"deep", 0.7, {}}},
      {R"({"a":{"rule_id":"first"},"b":{"rule_id":"second"}})", {"first", 0.5, {}}},
      {R"({"a":{"b":{"rule_id":"inner"}},"c":{"rule_id":"outer"}})", {"inner", 0.5, {}}},
      {nested(6, R"({"rule_id":"six"})"), {"six", 0.5, {}}},
      // Confidence and its keys.
      {R"({"rule_id":"a","confidence":"0.9"})", {"a", 0.5, {}}},
      {R"({"rule_id":"a","confidence":true,"certainty":7,"confidence_score":0.1})", {"a", 7, {}}},
      {R"({"rule_id":"a","conf":0.1,"confidence_score":-2})", {"a", -2, {}}},
      // Drafts.
      {R"({"rule_id":"a","draft_reply":null,"draftReply":"x"})", {"a", 0.5, {}}},
      {R"({"rule_id":"a","draft_reply":5,"draftReply":"x"})", {"a", 0.5, "x"}},
      {R"({"rule_id":"a","draftReply":null})", {"a", 0.5, {}}},
      {R"({"rule_id":"a","draft_reply":""})", {"a", 0.5, ""}},
  };
  for (const Case& each : cases) {
    const ClassificationResult result = parseClassificationReply(each.reply);
    EXPECT_EQ(result.ruleId, each.expected.ruleId) << each.reply;
    EXPECT_EQ(result.confidence, each.expected.confidence) << each.reply;
    EXPECT_EQ(result.draftReply, each.expected.draftReply) << each.reply;
  }
}

TEST(ClassificationReply, SaysWhyNoRuleWasFound) {
  const std::string missing =
      "LLM JSON had no recognizable rule id (expected rule_id matching a rule from the prompt, or "
      "common aliases).";
  const auto parsing = [](std::string reply) {
    return [reply] { parseClassificationReply(reply); };
  };
  for (const std::string& reply :
       {std::string("{}"), std::string(R"({"selected":"abc"})"), std::string(R"({"a":[{}]})"),
        std::string(R"({"a":[{"rule_id":"in an array"}]})"), nested(7, R"({"rule_id":"seven"})"),
        std::string("{\"value\":\"") + longId.substr(1) + "\"}"}) {
    EXPECT_EQ(failureText<LLMParseError>(parsing(reply)), missing) << reply;
  }
  for (const std::string reply : {"", "no idea", "[1,2]", "\"text\"", "}{", "{\"rule_id\":\"a\""}) {
    EXPECT_EQ(failureText<LLMError>(parsing(reply)), "Could not parse LLM JSON.") << reply;
  }
  EXPECT_THROW(parseClassificationReply("{half} {\"rule_id\":\"a\"}"), JsonError);
  EXPECT_THROW(parseClassificationReply(nested(600, "{}")), JsonError);
}

}  // namespace
}  // namespace halcyra
