#include "classification/LLMClient.h"

#include <gtest/gtest.h>

#include "support/FailureText.h"
#include "support/RunTask.h"
#include "support/ScriptedHttp.h"
#include "text/Json.h"

namespace halcyra {
namespace {

using nlohmann::json;

const LLMSettings settings{"https://models.example/v1", "gpt-4o", 0.2, "sk-secret"};

std::string reply(std::string content) {
  return jsonText({{"choices", json::array({{{"message", {{"content", content}}}}})}});
}

std::string freeText(ScriptedHttp& http, LLMSettings with = settings) {
  LLMClient client(http, std::move(with));
  return runTask(client.completeFreeText("Be brief.", "Question", 100));
}

TEST(LLMClient, URLIsBuiltFromTheBase) {
  const std::pair<std::string_view, std::string_view> cases[] = {
      {" https://a.example/v1/ \n", "https://a.example/v1/chat/completions"},
      {"https://a.example/v1", "https://a.example/v1/chat/completions"},
      {"https://a.example", "https://a.example/v1/chat/completions"},
      {"https://a.example/V1", "https://a.example/V1/v1/chat/completions"},
      {"https://a.example/v1//", "https://a.example/v1//v1/chat/completions"},
      {"HTTP://localhost:11434/api", "HTTP://localhost:11434/api/v1/chat/completions"},
      {"http://[::1]:80/v1", "http://[::1]:80/v1/chat/completions"},
  };
  for (const auto& [base, url] : cases) EXPECT_EQ(chatCompletionsURL(base), url);
  for (const std::string_view base :
       {"", "a.example/v1", "ftp://a.example", "https:", "https:///v1", "https://a b/v1",
        "https://a.example:port", "https://a.example:70000", "https://u@:80", "http://[::1",
        "https://a.example/\x7F"}) {
    EXPECT_THROW(chatCompletionsURL(base), LLMError) << base;
  }
}

TEST(LLMClient, ClassifySendsExactlyOneRequest) {
  ScriptedHttp http;
  http.answer(201, reply("```json\n{\"rule_id\":\"r\",\"confidence\":1}\n```"));
  LLMClient client(http, settings);
  const auto result = runTask(client.classify("Sys\r\ntem", "e\u0301\r\n\"x\" cut here", 5));
  EXPECT_EQ(result, (ClassificationResult{"r", 1, std::nullopt}));
  ASSERT_EQ(http.requests.size(), 1u);
  const HttpRequest& request = http.requests[0];
  EXPECT_EQ(request.method, "POST");
  EXPECT_EQ(request.url, "https://models.example/v1/chat/completions");
  EXPECT_EQ(request.headers, (std::vector<HttpHeader>{{"Content-Type", "application/json"},
                                                      {"Authorization", "Bearer sk-secret"}}));
  EXPECT_EQ(request.timeout, std::chrono::seconds(120));
  EXPECT_EQ(request.answerLimit, 8u << 20);
  EXPECT_EQ(request.body,
            "{\"messages\":[{\"content\":\"Sys\\r\\ntem\",\"role\":\"system\"},"
            "{\"content\":\"e\u0301\\r\\n\\\"x\\\"\",\"role\":\"user\"}],\"model\":\"gpt-4o\","
            "\"response_format\":{\"type\":\"json_object\"},\"temperature\":0.2}");
}

TEST(LLMClient, TextCallsAskForNoFormatAndGiveTrimmedText) {
  ScriptedHttp http;
  http.answer(200, reply("\n ```answer``` \n")).answer(200, reply("Draft"));
  LLMSettings keyless = settings;
  keyless.apiKey.clear();
  keyless.model = " GPT-5-nano ";
  EXPECT_EQ(freeText(http, keyless), "```answer```");
  LLMClient client(http, keyless);
  EXPECT_EQ(runTask(client.proposeReplyDraft("Mail", -1)), "Draft");
  EXPECT_EQ(http.requests[0].headers.size(), 1u);
  EXPECT_EQ(http.requests[0].body,
            R"({"messages":[{"content":"Be brief.","role":"system"},)"
            R"({"content":"Question","role":"user"}],"model":" GPT-5-nano "})");
  EXPECT_EQ(http.requests[1].body,
            R"({"messages":[{"content":"You help the user reply to email. Write a concise, )"
            R"(professional draft they can edit and send. Match the language of the incoming )"
            R"(message. Do not add a subject line. Output plain text only (no JSON, no markdown )"
            R"(fences).","role":"system"},{"content":"","role":"user"}],"model":" GPT-5-nano "})");
}

TEST(LLMClient, TemperatureGoesOnlyToModelsThatTakeIt) {
  for (const auto& [model, sent] :
       std::initializer_list<std::pair<std::string, bool>>{{"gpt-4", true},
                                                           {"o2", true},
                                                           {"", true},
                                                           {"my-o1", true},
                                                           {"gpt-5", false},
                                                           {"O1-mini", false},
                                                           {"o3x", false},
                                                           {"\u00A0Gpt-5.1", false}}) {
    ScriptedHttp http;
    http.answer(200, reply("x"));
    LLMSettings with = settings;
    with.model = model;
    freeText(http, with);
    EXPECT_EQ(http.requests[0].body.find("temperature") != std::string::npos, sent) << model;
  }
}

TEST(LLMClient, ReadsContentAsTextOrParts) {
  const std::pair<std::string, std::string> cases[] = {
      {R"("a")", "a"},
      {R"([{"text":"a"},{"text":5,"content":"b"},{"type":"image"},{"text":"c","content":"d"}])",
       "abc"},
  };
  for (const auto& [content, expected] : cases) {
    ScriptedHttp http;
    http.answer(200, R"({"choices":[{"message":{"content":)" + content + "}},{}]}");
    EXPECT_EQ(freeText(http), expected) << content;
  }
  const auto withContent = [](std::string content) {
    return R"({"choices":[{"message":{"content":)" + content + "}}]}";
  };
  for (const std::string& body :
       {std::string("[]"), std::string("5"), std::string("{}"), std::string(R"({"choices":[]})"),
        std::string(R"({"choices":{}})"), std::string(R"({"choices":[{}]})"),
        std::string(R"({"choices":[{"message":"x"}]})"),
        std::string(R"({"choices":[{"message":{"content":"x"}},1]})"), withContent("\" \\n\""),
        withContent("null"), withContent("[]"), withContent(R"([{"text":" "}])"),
        withContent(R"([{"text":"a"},"b"])"), withContent(R"({"text":"a"})")}) {
    ScriptedHttp http;
    http.answer(200, body);
    EXPECT_EQ(failureText<LLMError>([&] { freeText(http); }), "Empty LLM response.") << body;
  }
}

TEST(LLMClient, FailuresKeepTheirTextAndHideTheKey) {
  const std::string page = "<html>\n\tno</html>";
  const std::pair<HttpResponse, std::string> answers[] = {
      {{500, {}, page}, "LLM HTTP 500: " + page},
      {{302, {}, ""}, "LLM HTTP 302: "},
      {{199, {}, "\xFF"}, "LLM HTTP 199: "},
      {{401, {}, "key sk-secretsk-secret refused"}, "LLM HTTP 401: key ****** refused"},
      {{400, {}, std::string(2000, 'x')}, "LLM HTTP 400: " + std::string(2000, 'x')},
      {{400, {}, std::string(2001, 'x')}, "LLM HTTP 400: " + std::string(2000, 'x') + "…"},
  };
  for (const auto& [response, text] : answers) {
    ScriptedHttp http;
    http.answer(response.status, response.body);
    EXPECT_EQ(failureText<LLMError>([&] { freeText(http); }), text);
  }
  std::string marks = "a";  // one character of many bytes
  while (marks.size() < 100'000) marks += "\u0301";
  EXPECT_LT(std::string(LLMError::http(500, marks).what()).size(), 33'000u);
  for (const std::string body : {"<html>", "{\"choices\":[", ""}) {
    ScriptedHttp http;
    http.answer(200, body);
    EXPECT_THROW(freeText(http), JsonError) << body;
  }
}

TEST(LLMClient, TransportFailuresPassThrough) {
  ScriptedHttp http;
  http.fail({HttpError::Kind::notHTTP, "SSH-2.0"})
      .fail({HttpError::Kind::invalidURL, "bad"})
      .fail({HttpError::Kind::transport, "The request timed out."})
      .fail({HttpError::Kind::tooLarge, "too large"});
  EXPECT_EQ(failureText<LLMError>([&] { freeText(http); }), "LLM HTTP -1: No response");
  EXPECT_EQ(failureText<LLMError>([&] { freeText(http); }), "Invalid LLM base URL.");
  EXPECT_EQ(failureText<HttpError>([&] { freeText(http); }), "The request timed out.");
  EXPECT_EQ(failureText<HttpError>([&] { freeText(http); }), "too large");
  EXPECT_THROW(freeText(http, {"nowhere", "m", 0.2, "k"}), LLMError);
  EXPECT_EQ(http.requests.size(), 4u);
}

}  // namespace
}  // namespace halcyra
